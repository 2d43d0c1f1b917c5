#include "KVDbase/raster/XTB.h"

#include "KVDbase/files/XFile.h"
#include "KVDbase/workers/XThread.h"
#include "raster/XTBTestBlocks.h"

#include <gtest/gtest.h>

namespace {

// Edge tiles on both sides, one side, none; odd pixel sizes; one row.
const XRasterShape aShapes[] = {
    {5, 3, 1, 2, 2}, {37, 23, 3, 8, 5}, {64, 32, 2, 16, 16}, {13, 1, 1, 4, 4}, {7, 9, 4, 7, 9}, {1, 17, 1, 4, 3},
};

bool FileExists(const char* pszPath)
{
    XFileStatus status;
    return XFile::GetStatus(pszPath, status) != 0;
}

// The whole content of a file.
XBytes FileBytes(XFile& file)
{
    XBytes all(static_cast<size_t>(file.GetLength()));
    file.SeekToBegin();
    EXPECT_EQ(file.Read(all.data(), unsigned(all.size())), all.size());
    return all;
}

// Tile then Untile restores every byte and nothing around the block, for every kind of block (memory converted
// whole, memory through a temporary file, a file) and budgets of the whole raster, three rows and one row;
// a memory block through a temporary file untiles whole (see MemoryBlockOddities).
TEST(XTBConvert, RoundTripRestoresEveryByteForEveryKindAndBudget)
{
    const XString strPath = TestFileName("kvd_xtb_file_");
    for (int nKind = 0; nKind < 3; ++nKind)
        for (const XRasterShape& s : aShapes)
            for (int nRows : {s.nYSize, 3, 1}) {
                const int nBudget = nRows * s.nXSize * s.nDataSize;
                SCOPED_TRACE(testing::Message() << "kind " << nKind << " " << s.nXSize << "x" << s.nYSize << " rows "
                                                << nRows);
                const XBytes lines = MakeLines(s, unsigned(nBudget));
                XBytes block(4, 'h');
                block.insert(block.end(), lines.begin(), lines.end());
                block.insert(block.end(), 4, 't');
                XFile file;
                if (nKind == 2) {
                    ASSERT_TRUE(file.Open(strPath, XFile::flagCreate | XFile::flagReadWrite));
                    file.Write(block.data(), unsigned(block.size()));
                }
                XTB tb;
                for (int nPass = 0; nPass < 2; ++nPass) {
                    if (nKind == 2)
                        tb.Set(&file, 4, s.nXSize, s.nYSize, s.nDataSize, s.nXTile, s.nYTile);
                    else
                        tb.Set(block.data(), 4, s.nXSize, s.nYSize, s.nDataSize, s.nXTile, s.nYTile, nKind);
                    const int nUntileBudget = nKind == 1 ? s.nXSize * s.nYSize * s.nDataSize : nBudget;
                    ASSERT_EQ(nPass == 0 ? tb.Tile(nBudget, nullptr) : tb.Untile(nUntileBudget, nullptr), 1);
                    if (nKind == 2)
                        block = FileBytes(file);
                    EXPECT_EQ(XBytes(block.begin() + 4, block.end() - 4), nPass == 0 ? TileOrder(lines, s) : lines);
                }
                EXPECT_EQ(std::string(block.begin(), block.begin() + 4), "hhhh");
                EXPECT_EQ(std::string(block.end() - 4, block.end()), "tttt");
                EXPECT_FALSE(FileExists(strPath + ".$XTBTEMP$"));
            }
    XFile::Remove(strPath);
}

// What a worker runs: one conversion, reported to the owner.
struct XConvertJob {
    XTB* pTB;
    int nBudget;
    bool bUntile;
    int nResult;
};

DWORD ConvertOnWorker(void* pParam)
{
    XThread* pThread = static_cast<XThread*>(pParam);
    XConvertJob* pJob = static_cast<XConvertJob*>(pThread->pUserData);
    pJob->nResult = pJob->bUntile ? pJob->pTB->Untile(pJob->nBudget, pThread)
                                  : pJob->pTB->Tile(pJob->nBudget, pThread);
    // The final message carries -1, which no percent of these jobs takes.
    pThread->Callback(pJob->nResult ? XTHREAD_SUCCESS : XTHREAD_CANCEL, -1);
    return 0;
}

// Runs a job on an XThread, collecting percents until the final message.
std::vector<LONG> RunJob(XConvertJob& job, bool bCancelFirst)
{
    XMessageQueue queue;
    XThread thread;
    std::vector<LONG> percents;
    EXPECT_NE(thread.Create(&job, &queue, ConvertOnWorker, nullptr, 1), nullptr);
    if (bCancelFirst)
        thread.bStop = 1; // seen after the first chunk
    thread.Resume();
    tagXMessage msg;
    while (queue.Get(msg, 10000) && msg.lParam != -1)
        percents.push_back(static_cast<LONG>(msg.lParam));
    EXPECT_EQ(msg.lParam, -1);
    EXPECT_EQ(thread.Terminate(), 1);
    return percents;
}

// Conversions of a file: failures leave it as it was, progress and cancel come through a thread.
TEST(XTBConvert, FileFailuresProgressAndCancel)
{
    const XString strPath = TestFileName("kvd_xtb_thread_");
    XFile file;
    ASSERT_TRUE(file.Open(strPath, XFile::flagCreate | XFile::flagReadWrite));
    XTB tb;
    // A raster of no rows creates and removes its temporary file; one of no columns gets no chunk buffer.
    for (int nWidth : {10, 0}) {
        tb.Set(&file, 0, nWidth, 10 - nWidth, 1, 4, 4);
        EXPECT_EQ(tb.Tile(1000, nullptr), 0);
        EXPECT_EQ(tb.Untile(1000, nullptr), 0);
        EXPECT_FALSE(FileExists(strPath + ".$XTBTEMP$"));
        EXPECT_EQ(file.GetLength(), 0);
    }
    const XRasterShape s = {40, 101, 1, 16, 16};
    const XBytes lines = MakeLines(s, 2);
    file.Write(lines.data(), unsigned(lines.size()));
    tb.Set(&file, 0, s.nXSize, s.nYSize, 1, s.nXTile, s.nYTile);
    // A directory in the temporary file's place fails the conversion.
    std::filesystem::create_directory(static_cast<const char*>(strPath + ".$XTBTEMP$"));
    EXPECT_EQ(tb.Tile(400, nullptr), 0);
    EXPECT_EQ(tb.Untile(400, nullptr), 0);
    EXPECT_EQ(FileBytes(file), lines);
    std::filesystem::remove(static_cast<const char*>(strPath + ".$XTBTEMP$"));

    // Cancelled: the file stays in line order and the temporary file goes.
    for (bool bUntile : {false, true}) {
        XConvertJob job{&tb, 40 * 10, bUntile, -1};
        EXPECT_TRUE(RunJob(job, true).empty());
        EXPECT_EQ(job.nResult, 0);
        EXPECT_EQ(FileBytes(file), lines);
        EXPECT_FALSE(FileExists(strPath + ".$XTBTEMP$"));
    }

    // Run to the end: one percent per chunk start, y * 100 / (ySize - 1).
    XConvertJob job{&tb, 40 * 10, false, -1};
    EXPECT_EQ(RunJob(job, false), (std::vector<LONG>{0, 10, 20, 30, 40, 50, 60, 70, 80, 90, 100}));
    EXPECT_EQ(job.nResult, 1);
    EXPECT_EQ(FileBytes(file), TileOrder(lines, s));
    file.Close();
    XFile::Remove(strPath);
}

// Memory blocks convert through a temporary file, with three defined oddities.
TEST(XTBConvert, MemoryBlockOddities)
{
    UseTestTempDir();
    // Untiling in chunks does not rewind the temporary file: the last chunk, still in the buffer, lands everywhere.
    const XRasterShape s4 = {4, 4, 1, 2, 2};
    const XBytes lines4 = MakeLines(s4, 4);
    XBytes block = TileOrder(lines4, s4);
    XTB tb;
    tb.Set(block.data(), 0, 4, 4, 1, 2, 2, 1);
    ASSERT_EQ(tb.Untile(8, nullptr), 1);
    const XBytes lastRows(lines4.begin() + 8, lines4.end());
    EXPECT_EQ(XBytes(block.begin(), block.begin() + 8), lastRows);
    EXPECT_EQ(XBytes(block.begin() + 8, block.end()), lastRows);

    // A raster of one row reports 0 * 100.0 / 0 as its percent, once.
    const XRasterShape s1 = {9, 1, 1, 4, 4};
    const XBytes lines1 = MakeLines(s1, 8);
    block = lines1;
    tb.Set(block.data(), 0, 9, 1, 1, 4, 4, 1);
    XConvertJob job{&tb, 9, false, -1};
    EXPECT_EQ(RunJob(job, false), std::vector<LONG>{INT32_MIN});
    EXPECT_EQ(job.nResult, 1);
    EXPECT_EQ(block, TileOrder(lines1, s1));

    // A budget below one row makes chunks of no rows forever: only a stop ends it.
    const XBytes lines16 = MakeLines({16, 8, 1, 4, 4}, 6);
    block = lines16;
    tb.Set(block.data(), 0, 16, 8, 1, 4, 4, 1);
    XConvertJob endless{&tb, 15, false, -1};
    XMessageQueue queue;
    XThread thread;
    ASSERT_NE(thread.Create(&endless, &queue, ConvertOnWorker, nullptr, 0), nullptr);
    tagXMessage msg;
    ASSERT_TRUE(queue.Get(msg, 10000));
    EXPECT_EQ(msg.lParam, 0);
    EXPECT_EQ(thread.Terminate(), 1);
    EXPECT_EQ(endless.nResult, 0);
    EXPECT_EQ(block, lines16);
}

} // namespace
