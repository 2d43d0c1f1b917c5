// Server paths: a client names files with backslashes (slashes are taken as
// well) relative to its user's root. A path is first split lexically, where
// an absolute path, a drive or stream colon, or ".." climbing above the root
// is refused; the directories on the way are then resolved on disk, and a
// symbolic link that leads outside the root is refused too. Thread-safe.
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

// How the last component is treated.
enum XRFPFollow {
    XRFP_FOLLOW_LAST,     // a link there is followed (and must stay inside)
    XRFP_NO_FOLLOW_LAST,  // the name itself is acted on: delete, rename
};

// Resolves vecParts below strRoot (a canonical absolute directory) into the
// host path to act on. 0, or XRFP_ERROR_ACCESS_DENIED for an escape,
// XRFP_ERROR_PATH_NOT_FOUND when a directory on the way is missing, or errno.
// The last component need not exist.
DWORD XfnRFPResolve(const std::string& strRoot, const std::vector<std::string>& vecParts, XRFPFollow follow,
                    std::string& strHostPath);

// The canonical absolute form of a directory, or empty with errno set.
std::string XfnRFPCanonicalDirectory(const std::string& strPath);
