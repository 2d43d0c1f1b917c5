// Files: the same few bytes through the four kinds of file of the library, a
// plain file (with share modes), memory, a mapped window and a text stream,
// all under a temporary directory that is removed at the end.
#include "KVDbase/KVDbase.h"

#include <cstdio>
#include <cstring>
#include <filesystem>
#include <random>
#include <string>

namespace {

int g_nFailures = 0;

void Check(bool bOk, const char* pszWhat)
{
    std::printf("  [%s] %s\n", bOk ? " ok " : "FAIL", pszWhat);
    if (!bOk)
        ++g_nFailures;
}

const char szHeader[] = "KVD raster 512 x 512";

} // namespace

int main()
{
    namespace fs = std::filesystem;
    fs::path dir = fs::temp_directory_path() / ("kvd_example_files_" + std::to_string(std::random_device{}()));
    fs::create_directories(dir);
    std::string strPlain = (dir / "plain.bin").string();
    std::printf("Files (under %s)\n", dir.string().c_str());

    // XFile: write, seek, read back; a second writer is refused while the
    // first denies writing.
    {
        XFile file(strPlain.c_str(), XFile::flagCreate | XFile::flagReadWrite | XFile::flagShareDenyWrite);
        file.Write(szHeader, sizeof szHeader);
        file.Seek(4, XFile::begin);
        char szWord[7] = {};
        file.Read(szWord, 6);
        Check(std::strcmp(szWord, "raster") == 0 && file.GetLength() == sizeof szHeader, "XFile writes and seeks");
        XFile other;
        XFileException error;
        int bOpened = other.Open(strPlain.c_str(), XFile::flagWrite | XFile::flagShareDenyNone, &error);
        XString strModule, strGroup;
        std::printf("  second writer: %s (%u: %s)\n", bOpened ? "opened" : "refused", error.GetErrCode(),
                    static_cast<const char*>(XfnGetErrorString(error.GetErrCode(), strModule, strGroup)));
        Check(!bOpened, "a share mode that denies writing keeps other writers out");
    }
    XFileStatus status{};
    Check(XFile::GetStatus(strPlain.c_str(), status) && status.nSize == sizeof szHeader &&
              XfnGetFileExt(status.szFullPath) == "bin",
          "GetStatus reports size and full path");

    // XMemFile: the same interface over a block of memory.
    XMemFile memory;
    memory.Write(szHeader, sizeof szHeader);
    memory.Seek(-10, XFile::end); // the terminator was written too
    char szTail[10] = {};
    memory.Read(szTail, 9);
    Check(std::strcmp(szTail, "512 x 512") == 0, "XMemFile reads from a position counted from the end");

    // XMMFile: a file seen through a sliding 64 KiB window; 200 KiB crosses
    // several windows.
    std::string strMapped = (dir / "mapped.bin").string();
    {
        XMMFile mapped;
        Check(mapped.Create(strMapped.c_str(), 200 * 1024), "XMMFile creates a 200 KiB file");
        unsigned char abBlock[1000];
        for (int i = 0; i < 1000; ++i)
            abBlock[i] = static_cast<unsigned char>(i % 251);
        mapped.Seek(65000, XFile::begin); // straddles the first window's end
        mapped.Write(abBlock, sizeof abBlock, false);
        unsigned char abBack[1000] = {};
        mapped.Seek(65000, XFile::begin);
        unsigned int nRead = mapped.Read(abBack, sizeof abBack);
        Check(nRead == 1000 && std::memcmp(abBlock, abBack, 1000) == 0, "a write across two windows reads back");
        mapped.Close();
    }

    // XStdioFile: lines of text.
    std::string strText = (dir / "bands.txt").string();
    {
        XStdioFile text(strText.c_str(), XFile::flagCreate | XFile::flagWrite);
        text.WriteString("band 1 coastal\nband 2 blue\n");
        text.Close();
    }
    XStdioFile text(strText.c_str(), XFile::flagRead);
    XString strLine, strLast;
    int nLines = 0;
    while (text.ReadString(strLine)) {
        ++nLines;
        strLast = strLine;
    }
    text.Close();
    std::printf("  %d lines, last \"%s\"\n", nLines, static_cast<const char*>(strLast));
    Check(nLines == 2 && strLast == "band 2 blue", "XStdioFile reads line by line without the line feed");

    XFile::Remove(strText.c_str());
    Check(!XFile::GetStatus(strText.c_str(), status), "XFile::Remove deletes a file");
    std::error_code ec;
    fs::remove_all(dir, ec);
    Check(!fs::exists(dir), "the temporary directory is gone");
    std::printf("%s\n", g_nFailures == 0 ? "All checks passed" : "Some checks FAILED");
    return g_nFailures == 0 ? 0 : 1;
}
