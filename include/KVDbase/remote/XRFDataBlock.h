// General data blocks: free-form byte blocks exchanged with the server on a
// connection taken out of the pool for as long as the application likes.
// The handle is the connection itself, from Open to Close, used by one
// thread at a time; the meaning of the blocks is between the application and
// its server (the project's server answers each block with the same block).
// Nothing throws: results are 1 or 0 with the error word set.
#pragma once

#include "KVDbase/core/XString.h"
#include "KVDbase/platform/Export.h"
#include "KVDbase/platform/Win32Types.h"
#include "KVDbase/remote/XRFConnection.h"

#include <cstdint>

// A pointer-wide handle that holds the connection; 0 means none.
typedef uintptr_t XRFDATAHANDLE;

// Called with each block received; the block lives only during the call.
typedef void (*XfnRFDataBlockCallback)(XRFDATAHANDLE hHandle, void* pBlock, DWORD nSize, uintptr_t nUser1,
                                       uintptr_t nUser2);

// Borrows a connection of the pool: the handle, or 0 with the error set.
KVD_API XRFDATAHANDLE OpenGeneralDataBlockHandle(XRFConnectionOpenParam& param, DWORD& error, XString& key);
// Gives the connection back under key; a connection that failed is deleted.
// The exchange must be back at a request boundary: the next borrower sends
// file requests on it.
KVD_API void CloseGeneralDataBlockHandle(XRFDATAHANDLE hHandle, XString& key);
// Sends one block, head and bytes, with no reply.
KVD_API int XRFSendGeneralDataBlock(XRFDATAHANDLE hHandle, const void* pData, DWORD nSize, DWORD& error);
// Waits for one block and hands it to the callback; nSize gets its size. A
// head that is not a data block fails with "Invalid rf packet parameter"
// and reads nothing further.
KVD_API int XRFBeginRecvGeneralDataBlock(XRFDATAHANDLE hHandle, DWORD& nSize, DWORD& error,
                                         XfnRFDataBlockCallback pfnCallback, uintptr_t nUser1, uintptr_t nUser2);
