/* rpcrt4 exports the IUnknown entries that generated proxy vtables start with, but mingw-w64's
 * rpcproxy.h does not declare them; the generated proxy file is compiled with this first. */
#pragma once
#include <objbase.h>

HRESULT STDMETHODCALLTYPE IUnknown_QueryInterface_Proxy(IUnknown *This, REFIID riid, void **ppvObject);
ULONG STDMETHODCALLTYPE IUnknown_AddRef_Proxy(IUnknown *This);
ULONG STDMETHODCALLTYPE IUnknown_Release_Proxy(IUnknown *This);
