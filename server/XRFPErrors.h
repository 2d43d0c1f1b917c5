// The error words that the file server puts into its replies: the "Remote
// File" codes of the library's catalogue where one fits the failure; every
// other failure is reported by the errno value of the system call that failed.
#pragma once

#include "KVDbase/core/XException.h"
#include "KVDbase/remote/XRFWire.h"

// A code of the "Remote File" group as the client receives it, with the
// marker bit that the protocol's codes carry above the decoded fields.
constexpr DWORD XfnRFPRemoteError(DWORD nMessage)
{
    return 0x20000000u | XfnMakeErrorCode(0, 1, nMessage);
}

constexpr DWORD XRFP_ERROR_NO_SUCH_USER = XfnRFPRemoteError(16);          // "There is no such user"
constexpr DWORD XRFP_ERROR_BAD_PASSWORD = XfnRFPRemoteError(17);          // "Incorrect password"
constexpr DWORD XRFP_ERROR_ACCESS_DENIED = XfnRFPRemoteError(18);         // "Remote access denied"
constexpr DWORD XRFP_ERROR_PATH_NOT_FOUND = XfnRFPRemoteError(19);        // "Path not found"
constexpr DWORD XRFP_ERROR_ROOT_NOT_IN_SERVICE = XfnRFPRemoteError(26);   // "The root is not in service"
constexpr DWORD XRFP_ERROR_INVALID_HANDLE = XfnRFPRemoteError(30);        // "The file handle is not valid"
constexpr DWORD XRFP_ERROR_INVALID_PARAMETER = XfnRFPRemoteError(31);     // "The parameter is not valid"
constexpr DWORD XRFP_ERROR_TOO_MANY_CONNECTIONS = XfnRFPRemoteError(32);  // "Max rf server connection Exceeded"
constexpr DWORD XRFP_ERROR_INVALID_PACKET = XfnRFPRemoteError(34);        // "Invalid rf packet parameter"

static_assert(XRFP_ERROR_INVALID_PARAMETER == static_cast<DWORD>(XRF_ERROR_INVALID_PARAMETER),
              "catalogue and wire agree");
static_assert(XRFP_ERROR_INVALID_PACKET == static_cast<DWORD>(XRF_ERROR_INVALID_PACKET), "catalogue and wire agree");
