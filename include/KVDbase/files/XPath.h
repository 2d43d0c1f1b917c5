// Path and module helpers: taking paths apart, comparing them, the full path
// of a name, where the program and the library live, and temporary names.
// Parsing treats both the slash and the backslash as separators (and the
// colon too in XfnGetFileName) and walks whole characters; paths that these
// functions build use the slash. Nothing throws; failures show in the result.
// The temporary directory is a plain process-wide setting, set once at start.
#pragma once

#include "KVDbase/core/XString.h"
#include "KVDbase/platform/Export.h"

// A loaded module: any address inside it; null means the program itself.
typedef void* HINSTANCE;

// 1 when the paths name the same file: equal without regard to the case of
// plain letters (full-width letters must match exactly), else 0.
KVD_API int XfnComparePath(const char* pszA, const char* pszB);
// The full path of pszPath, from the current directory, into out (260
// characters with the terminator); 1 on success. On failure (a result longer
// than the buffer, no current directory) out holds a copy of the input cut to
// the buffer, and the result is 0.
KVD_API int XfnFullPath(char* pszOut, const char* pszPath);
KVD_API XString XfnGetFullPath(XString strPath);
// Drive and directory with the trailing separator; empty for a bare name.
KVD_API XString XfnGetDirName(XString strPath);
// The last extension without its dot ("gz" for a.tar.gz), or empty.
KVD_API XString XfnGetFileExt(XString strPath);
// The part after the last separator. With pszOut, a copy of at most nSize - 1
// characters and 0; without, the length plus 1. The XString form keeps at
// most 255 characters.
KVD_API XString XfnGetFileName(XString strPath);
KVD_API unsigned int XfnGetFileName(const char* pszPath, char* pszOut, unsigned int nSize);
// The name as it is shown to users; on this platform extensions are shown, so
// it is the file name. Same results as XfnGetFileName.
KVD_API XString XfnGetFileTitle(XString strPath);
KVD_API unsigned int XfnGetFileTitle(const char* pszPath, char* pszOut, unsigned int nSize);
// The root of a path: "C:\" of "C:\dir\file", "\\server\share\" of a network
// path, "/" of "/usr/lib"; a path with no separator stands as it is.
KVD_API XString XfnGetRoot(XString strPath);
KVD_API void XfnGetRoot(const char* pszPath, XString& strRoot);

// The file of a module, its directory with a trailing separator, and the
// directory above that. Empty when the module is not known.
KVD_API XString XfnGetModuleFileName(HINSTANCE hModule);
KVD_API XString XfnGetModulePath(HINSTANCE hModule);
KVD_API XString XfnGetModulePathUpper(HINSTANCE hModule);
// There are no short names on this platform: the long name.
KVD_API void XfnGetModuleShortFileName(HINSTANCE hModule, XString& strName);
// An address inside this library, for the functions above.
KVD_API HINSTANCE XfnGetLibraryModule();

// prefix + "DDhhmmssmmm.tmp" from the UTC time, in the directory set by
// XfnSetTempPath (which must end with a separator), or else in the current
// directory. Two calls in one millisecond give the same name; nothing is
// created.
KVD_API XString XfnGetTempFileName(XString strPrefix);
// The directory set by XfnSetTempPath, or else the program's directory.
KVD_API XString XfnGetTempPath();
// Stored as given: no check, no separator added.
KVD_API void XfnSetTempPath(XString strPath);
