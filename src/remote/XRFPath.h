// The remote path form: the scheme "xrfp:" and two backslashes, then
// user:password@host, an optional :port, one backslash and the server path.
// User and password are letters and digits, the host letters, digits and
// dots, the port up to five digits; the server path is the rest, as it
// stands. Private to the library; stateless and thread-safe.
#pragma once

#include "KVDbase/core/XString.h"
#include "KVDbase/remote/XRFConnection.h"

#define XRF_PATH_SCHEME "xrfp:\\\\"
const size_t XRF_PATH_SCHEME_LENGTH = 7;

// True when pszPath is of the remote form: param gets host, port (5000 when
// the path names none, a larger number cut to 16 bits), user and password
// over its defaults, strServerPath the rest. False for anything else, which
// is a local path; param and strServerPath are then left alone.
bool XfnRFParsePath(const char* pszPath, XRFConnectionOpenParam& param, XString& strServerPath);
