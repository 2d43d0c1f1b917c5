// Where things are on this platform: the current directory, the program's
// file and the file of the module that holds an address, and the present UTC
// time with milliseconds for temporary names. Each answer is written into the
// caller's buffer, terminated; false means the answer is unknown or does not
// fit, with errno set. Thread-safe.
#pragma once

#include "KVDbase/platform/Win32Types.h"

#include <cstddef>

bool XfnSysGetCurrentDirectory(char* pBuf, size_t cb);
bool XfnSysGetProgramFile(char* pBuf, size_t cb);
// The file of the loaded module (the program or a shared library) that
// contains pAddress.
bool XfnSysGetModuleFile(const void* pAddress, char* pBuf, size_t cb);
void XfnSysGetUtcTime(_SYSTEMTIME& st);
