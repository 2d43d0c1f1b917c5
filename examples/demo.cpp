// The library's typical road, walked end to end: a remote file server, a
// tiled raster written and read through the connection pool, an object graph
// stored remotely and loaded back, a warp fitted to control points, and a
// map of the raster drawn, saved remotely, loaded and rendered to PNG files.
// Exits non-zero if any check fails.
//
//   kvd_demo [--size MEGABYTES]     (default 256: the raster's size)
#include "KVDbase/KVDbase.h"
#include "demo_map.h"

#include <chrono>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <fstream>
#include <random>
#include <signal.h>
#include <spawn.h>
#include <string>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

extern char** environ;

namespace {

int g_nFailures = 0;
std::chrono::steady_clock::time_point g_tStep;

void Step(int nStep, const char* pszTitle)
{
    g_tStep = std::chrono::steady_clock::now();
    std::printf("\n%d. %s\n", nStep, pszTitle);
}

double StepSeconds()
{
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - g_tStep).count();
}

void Check(bool bOk, const char* pszWhat)
{
    std::printf("   [%s] %s\n", bOk ? " ok " : "FAIL", pszWhat);
    if (!bOk)
        ++g_nFailures;
}

// ------------------------------------------------------------------ server

// The project's server as a child process with a throwaway root, key and
// user; it removes all three when it stops.
class XDemoServer {
public:
    bool Start(std::string& strError)
    {
        char szDir[] = "/tmp/kvd_demo_XXXXXX";
        if (mkdtemp(szDir) == nullptr) {
            strError = "no temporary directory";
            return false;
        }
        strDir = szDir;
        std::string strPortFile = strDir + "/port";
        std::vector<std::string> args = {KVD_XRFPD_PATH, "--throwaway", "--port", "0", "--port-file", strPortFile};
        // The server will not run as root unless told; CI runs the demo so.
        if (geteuid() == 0)
            args.push_back("--allow-root");
        std::vector<char*> argv;
        for (std::string& s : args)
            argv.push_back(&s[0]);
        argv.push_back(nullptr);
        // The server's log goes to a file beside the port file.
        posix_spawn_file_actions_t actions;
        posix_spawn_file_actions_init(&actions);
        posix_spawn_file_actions_addopen(&actions, 2, (strDir + "/xrfpd.log").c_str(), O_WRONLY | O_CREAT | O_TRUNC,
                                         0600);
        int nResult = posix_spawn(&nPid, argv[0], &actions, nullptr, argv.data(), environ);
        posix_spawn_file_actions_destroy(&actions);
        if (nResult != 0) {
            strError = std::string("cannot start ") + KVD_XRFPD_PATH;
            nPid = -1;
            return false;
        }
        for (int i = 0; i < 200 && nPort == 0; ++i) {
            std::ifstream in(strPortFile);
            int n = 0;
            if (in >> n && n > 0)
                nPort = n;
            else
                usleep(25000);
        }
        if (nPort == 0)
            strError = "the server did not report its port";
        return nPort != 0;
    }

    void Stop()
    {
        if (nPid > 0) {
            kill(nPid, SIGTERM);
            int nStatus = 0;
            waitpid(nPid, &nStatus, 0);
            nPid = -1;
        }
        if (!strDir.empty()) {
            std::remove((strDir + "/port").c_str());
            std::remove((strDir + "/xrfpd.log").c_str());
            rmdir(strDir.c_str());
            strDir.clear();
        }
    }

    ~XDemoServer() { Stop(); }

    int nPort = 0;

private:
    pid_t nPid = -1;
    std::string strDir;
};

// ------------------------------------------------------------------ raster

const int kTile = 256;

// The pixel at (x, y) of the demo raster: a pattern every reader can check.
inline BYTE PixelAt(int x, int y)
{
    return static_cast<BYTE>((x * 7 + y * 13 + (x >> 5) * (y >> 5)) & 0xFF);
}

struct XRasterJob {
    XTB* pTB;
    int nSize;
    int bOk;
};

// The worker: writes the raster tile by tile, reporting percent.
DWORD WriteRaster(void* pParam)
{
    XThread* pThread = static_cast<XThread*>(pParam);
    XRasterJob* pJob = static_cast<XRasterJob*>(pThread->pUserData);
    int nTiles = pJob->pTB->GetNumXTiles();
    std::vector<BYTE> tile(static_cast<size_t>(kTile) * kTile);
    pJob->bOk = 1;
    for (int ty = 0; ty < nTiles && !pThread->CheckStop(); ++ty) {
        for (int tx = 0; tx < nTiles; ++tx) {
            int nWidth, nHeight;
            pJob->pTB->GetTileInfo(tx, ty, nWidth, nHeight);
            for (int y = 0; y < nHeight; ++y)
                for (int x = 0; x < nWidth; ++x)
                    tile[static_cast<size_t>(y) * nWidth + x] = PixelAt(tx * kTile + x, ty * kTile + y);
            if (!pJob->pTB->WriteTile(tx, ty, tile.data(), nWidth, nHeight))
                pJob->bOk = 0;
        }
        pThread->CallbackPercent(100.0 * (ty + 1) / nTiles);
    }
    pThread->CallbackSuccess();
    return 0;
}

// ----------------------------------------------------------------- objects

class XDemoSite : public XObject {
    XDECLARE_DYNCREATE(XDemoSite)
public:
    XString strName;
    double dX = 0, dY = 0;
    XDemoSite* pNeighbour = nullptr;
    void Serialize(XArchive& ar) override
    {
        XObject::Serialize(ar);
        if (ar.IsStoring()) {
            ar << strName << dX << dY;
            ar << static_cast<const XObject*>(pNeighbour);
        } else {
            ar >> strName >> dX >> dY;
            pNeighbour = static_cast<XDemoSite*>(ar.ReadObject(XDemoSite::GetRuntimeClassStatic()));
        }
    }
};
XIMPLEMENT_DYNCREATE(XDemoSite, XObject)

} // namespace

int main(int argc, char** argv)
{
    int nMegabytes = 256;
    for (int i = 1; i + 1 < argc; ++i)
        if (std::strcmp(argv[i], "--size") == 0)
            nMegabytes = std::max(1, std::atoi(argv[i + 1]));
    auto tStart = std::chrono::steady_clock::now();
    std::printf("KVDbase demo: the typical road\n");

    // 1. The server.
    Step(1, "Start the remote file server on loopback (throwaway root, key and user)");
    XDemoServer server;
    std::string strError;
    if (!server.Start(strError)) {
        std::printf("   [FAIL] %s\n", strError.c_str());
        return 1;
    }
    std::printf("   xrfpd listening on 127.0.0.1:%d, user demo (%.2f s)\n", server.nPort, StepSeconds());

    XFile::XRFInit();
    XString strPrefix;
    strPrefix.Format("xrfp:\\\\demo:demo@127.0.0.1:%d\\", server.nPort);

    // 2. A raster written remotely, in tile order, by a worker thread.
    int nSide = static_cast<int>(std::sqrt(static_cast<double>(nMegabytes) * 1024 * 1024));
    nSide = std::max(kTile, nSide - nSide % 64);
    Step(2, "Write a tiled raster to a remote file from a worker thread");
    std::printf("   %d x %d pixels of one byte (%.0f MiB), tiles of %d x %d\n", nSide, nSide,
                static_cast<double>(nSide) * nSide / (1 << 20), kTile, kTile);
    XFile rasterFile(strPrefix + "scene.raw", XFile::flagCreate | XFile::flagReadWrite);
    XTB tb;
    tb.Set(&rasterFile, 0, nSide, nSide, 1, kTile, kTile);
    XMessageQueue queue;
    XThread worker;
    XRasterJob job = {&tb, nSide, 0};
    worker.Create(&job, &queue, &WriteRaster, nullptr, 0);
    // Each callback posts the thread and a value; the last percent shown
    // moves on by tens.
    std::printf("   progress:");
    int nShown = 0;
    for (tagXMessage msg; queue.Get(msg) && msg.nMessage == XWM_THREADCALLBACK;) {
        XThread* pFrom = reinterpret_cast<XThread*>(msg.wParam);
        if (msg.lParam >= nShown + 10 && msg.lParam <= 100) {
            nShown = static_cast<int>(msg.lParam) / 10 * 10;
            std::printf(" %d%%", nShown);
            std::fflush(stdout);
        }
        // Success is posted last: once it is set and nothing waits, all is in.
        if (pFrom->nLastCode == XTHREAD_SUCCESS && queue.GetCount() == 0)
            break;
    }
    worker.Terminate();
    double dSeconds = StepSeconds();
    std::printf("\n   written in %.2f s (%.0f MiB/s)\n", dSeconds,
                static_cast<double>(nSide) * nSide / (1 << 20) / dSeconds);
    Check(job.bOk && rasterFile.GetLength() == static_cast<int64_t>(nSide) * nSide, "every tile written");

    // 3. Windows read back through the pool, and checked.
    Step(3, "Read random windows back with ReadSubset and check every pixel");
    std::mt19937 random(7);
    const int nWindows = 200, nWindow = 300;
    std::vector<BYTE> window(static_cast<size_t>(nWindow) * nWindow);
    int nBad = 0;
    for (int i = 0; i < nWindows; ++i) {
        int x0 = static_cast<int>(random() % static_cast<unsigned>(nSide - nWindow));
        int y0 = static_cast<int>(random() % static_cast<unsigned>(nSide - nWindow));
        if (!tb.ReadSubset(window.data(), x0, x0 + nWindow - 1, y0, y0 + nWindow - 1))
            ++nBad;
        for (int y = 0; y < nWindow; ++y)
            for (int x = 0; x < nWindow; ++x)
                if (window[static_cast<size_t>(y) * nWindow + x] != PixelAt(x0 + x, y0 + y))
                    ++nBad;
    }
    std::printf("   %d windows of %d x %d in %.2f s\n", nWindows, nWindow, nWindow, StepSeconds());
    Check(nBad == 0, "every pixel as written");
    rasterFile.Close();
    XFile::Remove(strPrefix + "scene.raw");

    // 4. An object graph through a remote archive.
    Step(4, "Store an object graph with an archive on a remote file and load it back");
    XObArray sites;
    XStringArray names;
    XVertBuffer drawing;
    for (int i = 0; i < 1000; ++i) {
        XDemoSite* pSite = new XDemoSite;
        pSite->strName.Format("site-%04d", i);
        pSite->dX = 500000.0 + i * 12.5;
        pSite->dY = 4000000.0 - i * 7.25;
        sites.Add(pSite);
        names.Add(pSite->strName);
    }
    for (int i = 0; i < 1000; ++i)
        static_cast<XDemoSite*>(sites[i])->pNeighbour = static_cast<XDemoSite*>(sites[(i + 1) % 1000]);
    drawing.Start();
    std::vector<tagXVector2> line;
    for (int i = 0; i < 1000; ++i)
        line.push_back(tagXVector2(static_cast<XDemoSite*>(sites[i])->dX, static_cast<XDemoSite*>(sites[i])->dY));
    drawing.AddLineColor(0x0000FF, 1.0);
    drawing.AddPolyline(line.data(), static_cast<int>(line.size()), nullptr);
    drawing.End();
    {
        XFile file(strPrefix + "graph.kvd", XFile::flagCreate | XFile::flagWrite);
        XArchive ar(&file, XArchive::store);
        ar << &sites << &names << &drawing;
        ar.Close();
    }
    XObArray* pSites = nullptr;
    XStringArray* pNames = nullptr;
    XVertBuffer* pDrawing = nullptr;
    {
        XFile file(strPrefix + "graph.kvd", XFile::flagRead);
        std::printf("   stored %lld bytes\n", static_cast<long long>(file.GetLength()));
        XArchive ar(&file, XArchive::load);
        ar >> pSites >> pNames >> pDrawing;
    }
    bool bSame = pSites != nullptr && pNames != nullptr && pDrawing != nullptr && pSites->GetSize() == 1000 &&
                 pNames->GetSize() == 1000 && pDrawing->GetRecordCount() == drawing.GetRecordCount();
    for (int i = 0; bSame && i < 1000; ++i) {
        const XDemoSite* a = static_cast<XDemoSite*>(sites[i]);
        const XDemoSite* b = static_cast<XDemoSite*>(pSites->GetAt(i));
        bSame = a->strName == b->strName && a->dX == b->dX && a->dY == b->dY &&
                b->pNeighbour == pSites->GetAt((i + 1) % 1000) && (*pNames)[i] == names[i];
    }
    std::printf("   loaded in %.2f s\n", StepSeconds());
    Check(bSame, "objects, strings, shared references and the drawing come back equal");
    XFile::Remove(strPrefix + "graph.kvd");

    // 5. A warp fitted to control points.
    Step(5, "Fit a warp to control points and report its residuals");
    std::vector<tagXVector2> source, target;
    std::normal_distribution<double> noise(0.0, 0.25);
    for (int y = 0; y < 10; ++y)
        for (int x = 0; x < 10; ++x) {
            double dCol = x * 100.0, dRow = y * 100.0;
            source.push_back(tagXVector2(dCol, dRow));
            target.push_back(tagXVector2(500000.0 + 30.0 * dCol + 0.002 * dCol * dRow + noise(random),
                                         4000000.0 - 30.0 * dRow + 0.001 * dCol * dCol + noise(random)));
        }
    XWarp2D warp;
    int bFitted = warp.Create(XWarpCoeff::ORDER_QUADRATIC, static_cast<int>(source.size()), source.data(),
                              target.data(), nullptr, 3, 3);
    tagXVector3 error = warp.CalcError(static_cast<int>(source.size()), source.data(), target.data(), nullptr,
                                       nullptr);
    std::printf("   100 points, quadratic with a 3 x 3 grid of local fits: rms x %.3f, y %.3f, both %.3f\n",
                error.x, error.y, error.z);
    Check(bFitted && error.z < 1.0, "the fit follows the points to within their noise");

    // 6. A map of the raster, recorded, saved remotely, loaded and rendered.
    Step(6, "Draw a map of the raster, save it remotely, load it back and render it on each path");
    const struct {
        int nPath;
        const char* pszName;
    } paths[] = {{XVertBuffer::PATH_GDI, "raster"},
                 {XVertBuffer::PATH_GDIP, "antialiased"},
                 {XVertBuffer::PATH_GL, "opengl"}};
    for (const auto& path : paths) {
        XVertBuffer recorded(path.nPath), loaded(path.nPath);
        DemoMap::Record(recorded, nSide, kTile, PixelAt);
        XString strMap;
        strMap.Format("%smap-%s.xvb", static_cast<const char*>(strPrefix), path.pszName);
        DemoMap::Save(recorded, strMap);
        DemoMap::LoadInto(loaded, strMap);
        XFile::Remove(strMap);
        DemoMap::Picture picture(loaded, nSide);
        const std::string strPng = std::string("kvd_demo_map_") + path.pszName + ".png";
        char szFull[4096];
        const bool bWritten = picture.bMade && XfnWritePNG(picture.bb.GetDC(), strPng.c_str()) &&
                              realpath(strPng.c_str(), szFull) != nullptr;
        std::printf("   %-11s %d records -> %s\n", path.pszName, loaded.GetRecordCount(),
                    bWritten ? szFull : "(not written)");
        Check(bWritten && loaded.GetRecordCount() == recorded.GetRecordCount(), "saved, loaded and written");
        // The thumbnail shows the raster in grey; the hatched field has both
        // its colours; the lake is blue, solid on the raster path, whose
        // fills have no opacity, and blended over the thumbnail on the
        // antialiased path. OpenGL draws solid areas as outlines only: the
        // thumbnail shows through the lake inside its black outline.
        const double s = nSide;
        const COLORREF thumb = picture.At(s * 0.3, -s * 0.7);
        const COLORREF lake = picture.At(s * 0.7, -s * 0.7);
        auto grey = [](COLORREF c) {
            return GetRValue(c) == GetGValue(c) && GetGValue(c) == GetBValue(c) && c != RGB(255, 255, 255);
        };
        const int nFore = picture.Count(RGB(200, 0, 0), s * 0.12, -s * 0.38, s * 0.38, -s * 0.12);
        const int nBack = picture.Count(RGB(255, 230, 200), s * 0.12, -s * 0.38, s * 0.38, -s * 0.12);
        bool bLake = false;
        if (path.nPath == XVertBuffer::PATH_GDI)
            bLake = lake == RGB(0, 0, 255);
        else if (path.nPath == XVertBuffer::PATH_GDIP)
            bLake = GetBValue(lake) >= 127 && GetRValue(lake) < 200 && lake != RGB(0, 0, 255);
        else
            bLake = grey(lake) && picture.Count(RGB(0, 0, 0), s * 0.53, -s * 0.75, s * 0.57, -s * 0.65) > 0;
        Check(grey(thumb) && nFore > 0 && nBack > 0 && bLake, "thumbnail, hatched field and lake where they belong");
    }

    // 7. Shut down.
    Step(7, "Shut down");
    for (int i = 0; i < 1000; ++i) {
        delete sites[i];
        if (pSites != nullptr)
            delete pSites->GetAt(i);
    }
    delete pSites;
    delete pNames;
    delete pDrawing;
    drawing.Free();
    XFile::XRFClean();
    server.Stop();
    std::printf("   pool closed, server stopped, its root and key removed\n");

    double dTotal = std::chrono::duration<double>(std::chrono::steady_clock::now() - tStart).count();
    std::printf("\n%s in %.1f s\n", g_nFailures == 0 ? "All checks passed" : "Some checks FAILED", dTotal);
    return g_nFailures == 0 ? 0 : 1;
}
