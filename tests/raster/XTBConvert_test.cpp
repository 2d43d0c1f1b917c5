#include "KVDbase/raster/XTB.h"

#include "KVDbase/files/XFile.h"
#include "KVDbase/workers/XThread.h"
#include "raster/XTBTestBlocks.h"

#include <gtest/gtest.h>

#include <cmath>

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

// Budgets: the whole raster, a few rows that do not divide the tile height, and one row.
std::vector<int> Budgets(const XRasterShape& s)
{
    const int nRow = s.nXSize * s.nDataSize;
    return {nRow * s.nYSize, nRow * 3, nRow};
}

// Tile then Untile restores every byte and nothing around the block, for every kind of block: memory
// converted whole, memory through a temporary file (untiled whole) and a file, in chunks of every budget.
TEST(XTBConvert, RoundTripRestoresEveryByteForEveryKindAndBudget)
{
    const XString strPath = TestFileName("kvd_xtb_file_");
    for (int nKind = 0; nKind < 3; ++nKind) {
        for (const XRasterShape& s : aShapes) {
            for (int nBudget : Budgets(s)) {
                SCOPED_TRACE(testing::Message() << "kind " << nKind << " " << s.nXSize << "x" << s.nYSize << " budget "
                                                << nBudget);
                const XBytes lines = MakeLines(s, unsigned(nBudget));
                XBytes block(4, 'h');
                block.insert(block.end(), lines.begin(), lines.end());
                block.insert(block.end(), 4, 't');
                XFile file;
                XTB tb;
                auto Attach = [&] {
                    if (nKind == 2)
                        tb.Set(&file, 4, s.nXSize, s.nYSize, s.nDataSize, s.nXTile, s.nYTile);
                    else
                        tb.Set(block.data(), 4, s.nXSize, s.nYSize, s.nDataSize, s.nXTile, s.nYTile, nKind);
                };
                auto Contents = [&] {
                    if (nKind == 2)
                        block = FileBytes(file);
                    return XBytes(block.begin() + 4, block.end() - 4);
                };
                if (nKind == 2) {
                    ASSERT_TRUE(file.Open(strPath, XFile::flagCreate | XFile::flagReadWrite));
                    file.Write(block.data(), unsigned(block.size()));
                }
                Attach();
                ASSERT_EQ(tb.Tile(nBudget, nullptr), 1);
                EXPECT_EQ(Contents(), TileOrder(lines, s));
                Attach();
                ASSERT_EQ(tb.Untile(nKind == 1 ? s.nXSize * s.nYSize * s.nDataSize : nBudget, nullptr), 1);
                EXPECT_EQ(Contents(), lines);
                EXPECT_EQ(std::string(block.begin(), block.begin() + 4), "hhhh");
                EXPECT_EQ(std::string(block.end() - 4, block.end()), "tttt");
                EXPECT_FALSE(FileExists(strPath + ".$XTBTEMP$"));
            }
        }
    }
    XFile::Remove(strPath);
}

TEST(XTBConvert, MemoryUntileInChunksReadsOnFromTheEndOfTheTemporaryFile)
{
    // The second pass of a memory block does not rewind: its reads find the
    // end of the file and copy the last chunk, still in the buffer, over
    // every chunk.
    XfnSetTempPath(TestTempDir()); // where the memory block converts
    const XRasterShape s = {4, 4, 1, 2, 2};
    const XBytes lines = MakeLines(s, 4);
    XBytes block = TileOrder(lines, s);
    XTB tb;
    tb.Set(block.data(), 0, 4, 4, 1, 2, 2, 1);
    ASSERT_EQ(tb.Untile(8, nullptr), 1); // two chunks of two rows
    const XBytes lastRows(lines.begin() + 8, lines.end());
    EXPECT_EQ(XBytes(block.begin(), block.begin() + 8), lastRows);
    EXPECT_EQ(XBytes(block.begin() + 8, block.end()), lastRows);
}

TEST(XTBConvert, EmptyRasterAndBlockedTemporaryFileFail)
{
    // A raster of no rows creates and removes its temporary file; one of no columns gets no chunk buffer.
    const XString strPath = TestFileName("kvd_xtb_empty_");
    XFile file;
    ASSERT_TRUE(file.Open(strPath, XFile::flagCreate | XFile::flagReadWrite));
    XTB tb;
    for (int nWidth : {10, 0}) {
        tb.Set(&file, 0, nWidth, 10 - nWidth, 1, 4, 4);
        EXPECT_EQ(tb.Tile(1000, nullptr), 0);
        EXPECT_EQ(tb.Untile(1000, nullptr), 0);
        EXPECT_FALSE(FileExists(strPath + ".$XTBTEMP$"));
        EXPECT_EQ(file.GetLength(), 0);
    }
    // A directory in the temporary file's place fails the conversion and leaves the file as it was.
    const XBytes lines = MakeLines({4, 4, 1, 2, 2});
    file.Write(lines.data(), unsigned(lines.size()));
    std::filesystem::create_directory(static_cast<const char*>(strPath + ".$XTBTEMP$"));
    tb.Set(&file, 0, 4, 4, 1, 2, 2);
    EXPECT_EQ(tb.Tile(8, nullptr), 0);
    EXPECT_EQ(tb.Untile(8, nullptr), 0);
    EXPECT_EQ(FileBytes(file), lines);
    std::filesystem::remove(static_cast<const char*>(strPath + ".$XTBTEMP$"));
    file.Close();
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

TEST(XTBConvert, ProgressAndCancelThroughAThread)
{
    const XRasterShape s = {40, 101, 1, 16, 16};
    const XBytes lines = MakeLines(s, 2);
    const XString strPath = TestFileName("kvd_xtb_thread_");
    XFile file;
    ASSERT_TRUE(file.Open(strPath, XFile::flagCreate | XFile::flagReadWrite));
    file.Write(lines.data(), unsigned(lines.size()));
    XTB tb;
    tb.Set(&file, 0, s.nXSize, s.nYSize, 1, s.nXTile, s.nYTile);

    // Cancelled: the file stays in line order and the temporary file goes.
    for (bool bUntile : {false, true}) {
        XConvertJob job{&tb, 40 * 10, bUntile, -1};
        std::vector<LONG> percents = RunJob(job, true);
        EXPECT_EQ(job.nResult, 0);
        EXPECT_TRUE(percents.empty());
        EXPECT_EQ(FileBytes(file), lines);
        EXPECT_FALSE(FileExists(strPath + ".$XTBTEMP$"));
    }

    // Run to the end: one percent per chunk start, y * 100 / (ySize - 1).
    XConvertJob job{&tb, 40 * 10, false, -1};
    std::vector<LONG> percents = RunJob(job, false);
    EXPECT_EQ(job.nResult, 1);
    const std::vector<LONG> expected = {0, 10, 20, 30, 40, 50, 60, 70, 80, 90, 100};
    EXPECT_EQ(percents, expected);
    EXPECT_EQ(FileBytes(file), TileOrder(lines, s));

    XConvertJob back{&tb, 40 * 10, true, -1};
    tb.Set(&file, 0, s.nXSize, s.nYSize, 1, s.nXTile, s.nYTile);
    RunJob(back, false);
    EXPECT_EQ(back.nResult, 1);
    EXPECT_EQ(FileBytes(file), lines);
    file.Close();
    XFile::Remove(strPath);
}

TEST(XTBConvert, BudgetBelowOneRowLoopsUntilCancelled)
{
    XfnSetTempPath(TestTempDir()); // where the memory block converts
    const XRasterShape s = {16, 8, 1, 4, 4};
    const XBytes lines = MakeLines(s, 6);
    XBytes block = lines;
    XTB tb;
    tb.Set(block.data(), 0, s.nXSize, s.nYSize, 1, 4, 4, 1);
    XConvertJob job{&tb, 15, false, -1};
    XMessageQueue queue;
    XThread thread;
    ASSERT_NE(thread.Create(&job, &queue, ConvertOnWorker, nullptr, 0), nullptr);
    tagXMessage msg;
    ASSERT_TRUE(queue.Get(msg, 10000)); // the first chunk, of no rows, reports 0 %
    EXPECT_EQ(msg.lParam, 0);
    EXPECT_EQ(thread.Terminate(), 1); // the only way out of the loop
    EXPECT_EQ(job.nResult, 0);
    EXPECT_EQ(block, lines);
}

TEST(XTBConvert, OneRowRasterReportsTheNonFinitePercentOnce)
{
    // y * 100.0 / (ySize - 1) is 0 / 0 for a raster of one row.
    EXPECT_TRUE(std::isnan(0 * 100.0 / (1 - 1 + 0.0)));
    const XRasterShape s = {9, 1, 1, 4, 4};
    const XBytes lines = MakeLines(s, 8);
    XBytes block = lines;
    XfnSetTempPath(TestTempDir()); // where the memory block converts
    XTB tb;
    tb.Set(block.data(), 0, 9, 1, 1, 4, 4, 1);
    XConvertJob job{&tb, 9, false, -1};
    std::vector<LONG> percents = RunJob(job, false);
    EXPECT_EQ(job.nResult, 1);
    ASSERT_EQ(percents.size(), 1u);
    EXPECT_EQ(percents[0], INT32_MIN);
    EXPECT_EQ(block, TileOrder(lines, s));
}

} // namespace
