/* FillInLunInfo across processes. The provider rewrites the caller's record in place: it frees
 * identifier blocks and allocates new ones, often larger, with the COM allocator. Marshalled as
 * [in, out], the answer would be unmarshalled into the caller's old blocks, which no longer
 * fit. So the record travels in, the stub hands the object a copy of it in COM memory, and the
 * filled copy travels back as a fresh record whose blocks replace the caller's: what the caller
 * owns afterwards is exactly what an in-process call would have left it. */
#include <string.h>

#include "VssProviderInterfaces.h"

static void FreeLun(VDS_LUN_INFORMATION *lun)
{
    ULONG i;
    CoTaskMemFree(lun->m_szVendorId);
    CoTaskMemFree(lun->m_szProductId);
    CoTaskMemFree(lun->m_szProductRevision);
    CoTaskMemFree(lun->m_szSerialNumber);
    if (lun->m_deviceIdDescriptor.m_rgIdentifiers != NULL) {
        for (i = 0; i < lun->m_deviceIdDescriptor.m_cIdentifiers; ++i)
            CoTaskMemFree(lun->m_deviceIdDescriptor.m_rgIdentifiers[i].m_rgbIdentifier);
        CoTaskMemFree(lun->m_deviceIdDescriptor.m_rgIdentifiers);
    }
    if (lun->m_rgInterconnects != NULL) {
        for (i = 0; i < lun->m_cInterconnects; ++i) {
            CoTaskMemFree(lun->m_rgInterconnects[i].m_pbPort);
            CoTaskMemFree(lun->m_rgInterconnects[i].m_pbAddress);
        }
        CoTaskMemFree(lun->m_rgInterconnects);
    }
    memset(lun, 0, sizeof *lun);
}

/* A copy in COM memory; NULL for NULL or empty, and *ok cleared when memory ran out. */
static void *CopyBlock(const void *from, SIZE_T size, BOOL *ok)
{
    void *to;
    if (from == NULL || size == 0) return NULL;
    to = CoTaskMemAlloc(size);
    if (to == NULL) {
        *ok = FALSE;
        return NULL;
    }
    memcpy(to, from, size);
    return to;
}

static char *CopyString(const char *from, BOOL *ok)
{
    return from != NULL ? CopyBlock(from, strlen(from) + 1, ok) : NULL;
}

static HRESULT CopyLun(const VDS_LUN_INFORMATION *from, VDS_LUN_INFORMATION *to)
{
    const VDS_STORAGE_DEVICE_ID_DESCRIPTOR *ids = &from->m_deviceIdDescriptor;
    BOOL ok = TRUE;
    ULONG i;

    memset(to, 0, sizeof *to);
    to->m_version = from->m_version;
    to->m_DeviceType = from->m_DeviceType;
    to->m_DeviceTypeModifier = from->m_DeviceTypeModifier;
    to->m_bCommandQueueing = from->m_bCommandQueueing;
    to->m_BusType = from->m_BusType;
    to->m_diskSignature = from->m_diskSignature;
    to->m_deviceIdDescriptor.m_version = ids->m_version;
    to->m_szVendorId = CopyString(from->m_szVendorId, &ok);
    to->m_szProductId = CopyString(from->m_szProductId, &ok);
    to->m_szProductRevision = CopyString(from->m_szProductRevision, &ok);
    to->m_szSerialNumber = CopyString(from->m_szSerialNumber, &ok);
    if (ok && ids->m_rgIdentifiers != NULL && ids->m_cIdentifiers > 0) {
        to->m_deviceIdDescriptor.m_rgIdentifiers = CoTaskMemAlloc(ids->m_cIdentifiers * sizeof(VDS_STORAGE_IDENTIFIER));
        ok = to->m_deviceIdDescriptor.m_rgIdentifiers != NULL;
        if (ok) {
            memset(to->m_deviceIdDescriptor.m_rgIdentifiers, 0, ids->m_cIdentifiers * sizeof(VDS_STORAGE_IDENTIFIER));
            to->m_deviceIdDescriptor.m_cIdentifiers = ids->m_cIdentifiers;
            for (i = 0; i < ids->m_cIdentifiers; ++i) {
                const VDS_STORAGE_IDENTIFIER *id = &ids->m_rgIdentifiers[i];
                VDS_STORAGE_IDENTIFIER *copy = &to->m_deviceIdDescriptor.m_rgIdentifiers[i];
                copy->m_CodeSet = id->m_CodeSet;
                copy->m_Type = id->m_Type;
                copy->m_rgbIdentifier = CopyBlock(id->m_rgbIdentifier, id->m_cbIdentifier, &ok);
                copy->m_cbIdentifier = copy->m_rgbIdentifier != NULL ? id->m_cbIdentifier : 0;
            }
        }
    }
    if (ok && from->m_rgInterconnects != NULL && from->m_cInterconnects > 0) {
        to->m_rgInterconnects = CoTaskMemAlloc(from->m_cInterconnects * sizeof(VDS_INTERCONNECT));
        ok = to->m_rgInterconnects != NULL;
        if (ok) {
            memset(to->m_rgInterconnects, 0, from->m_cInterconnects * sizeof(VDS_INTERCONNECT));
            to->m_cInterconnects = from->m_cInterconnects;
            for (i = 0; i < from->m_cInterconnects; ++i) {
                const VDS_INTERCONNECT *link = &from->m_rgInterconnects[i];
                VDS_INTERCONNECT *copy = &to->m_rgInterconnects[i];
                copy->m_addressType = link->m_addressType;
                copy->m_pbPort = CopyBlock(link->m_pbPort, link->m_cbPort, &ok);
                copy->m_cbPort = copy->m_pbPort != NULL ? link->m_cbPort : 0;
                copy->m_pbAddress = CopyBlock(link->m_pbAddress, link->m_cbAddress, &ok);
                copy->m_cbAddress = copy->m_pbAddress != NULL ? link->m_cbAddress : 0;
            }
        }
    }
    if (!ok) {
        FreeLun(to);
        return E_OUTOFMEMORY;
    }
    return S_OK;
}

/* The caller's side: its record's blocks are replaced by the ones that came back. */
static HRESULT TakeFilled(HRESULT hr, VDS_LUN_INFORMATION *pLunInfo, VDS_LUN_INFORMATION *filled)
{
    if (pLunInfo != NULL && SUCCEEDED(hr)) {
        FreeLun(pLunInfo);
        *pLunInfo = *filled;
    } else {
        FreeLun(filled);
    }
    return hr;
}

/* The object's side: the object rewrites a copy in COM memory, which then travels back. */
static HRESULT CopyIn(const VDS_LUN_INFORMATION *pLunInfo, VDS_LUN_INFORMATION *pFilledLunInfo)
{
    return pLunInfo != NULL ? CopyLun(pLunInfo, pFilledLunInfo) : S_OK;
}

HRESULT CALLBACK IVssHardwareSnapshotProviderEx_FillInLunInfo_Proxy(IVssHardwareSnapshotProviderEx *This,
                                                                     VSS_PWSZ wszDeviceName,
                                                                     VDS_LUN_INFORMATION *pLunInfo,
                                                                     BOOL *pbIsSupported)
{
    VDS_LUN_INFORMATION filled;
    if (pbIsSupported == NULL) return E_POINTER;
    memset(&filled, 0, sizeof filled);
    return TakeFilled(IVssHardwareSnapshotProviderEx_RemoteFillInLunInfo_Proxy(This, wszDeviceName, pLunInfo,
                                                                               &filled, pbIsSupported),
                      pLunInfo, &filled);
}

HRESULT __RPC_STUB IVssHardwareSnapshotProviderEx_FillInLunInfo_Stub(IVssHardwareSnapshotProviderEx *This,
                                                                    VSS_PWSZ wszDeviceName,
                                                                    VDS_LUN_INFORMATION *pLunInfo,
                                                                    VDS_LUN_INFORMATION *pFilledLunInfo,
                                                                    BOOL *pbIsSupported)
{
    const HRESULT hr = CopyIn(pLunInfo, pFilledLunInfo);
    if (FAILED(hr)) return hr;
    return This->lpVtbl->FillInLunInfo(This, wszDeviceName, pLunInfo != NULL ? pFilledLunInfo : NULL, pbIsSupported);
}
