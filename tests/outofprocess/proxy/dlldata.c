/* The proxy/stub DLL's entry points: class object, unload check and self-registration of the
 * interfaces that VssProviderInterfaces.idl declares (regsvr32 writes their ProxyStubClsid32). */
#define REGISTER_PROXY_DLL
#include <rpcproxy.h>

EXTERN_PROXY_FILE(VssProviderInterfaces)

PROXYFILE_LIST_START
REFERENCE_PROXY_FILE(VssProviderInterfaces),
PROXYFILE_LIST_END

DLLDATA_ROUTINES(aProxyFileList, GET_DLL_CLSID)
