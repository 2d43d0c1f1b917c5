// Server paths: a client names files with backslashes (slashes are taken as
// well) relative to its user's root. A path is split lexically here, where
// an absolute path, a drive or stream colon, or ".." climbing above the root
// is refused; the kernel then resolves the parts beneath the root's
// descriptor (XRFPFileSystem.h), which refuses links that lead out.
// Thread-safe.
#pragma once

#include "KVDbase/platform/Win32Types.h"

#include <string>
#include <vector>

// The components of strPath below the root ("." dropped, ".." applied);
// false when the path is absolute or leaves the root.
bool XfnRFPSplitPath(const std::string& strPath, std::vector<std::string>& vecParts);

// True when the name holds a '*' or '?'.
bool XfnRFPHasWildcards(const std::string& strName);
// Matches a name against a pattern of '*' and '?', ignoring ASCII case as
// the clients' own file systems do; "*.*" matches every name.
bool XfnRFPMatchPattern(const std::string& strPattern, const std::string& strName);

// The parts joined by chSeparator, from nFirst up to (not including) nEnd.
std::string XfnRFPJoinPath(const std::vector<std::string>& vecParts, size_t nFirst, size_t nEnd, char chSeparator);

// Bounds on what the server lets a client build, so that every entry below
// a root stays nameable by a path field: at most this many directories deep
// and this many characters long (the field's 260 bytes less its terminator).
enum : size_t { XRFP_MAX_DEPTH = 64, XRFP_MAX_PATH = 259 };

// The canonical absolute form of a directory, or empty with errno set.
std::string XfnRFPCanonicalDirectory(const std::string& strPath);
