// Writes the glyph atlas "dotum.xhf" of the composite font from a Hangul
// TrueType face, and measures how well syllables composed from it match the
// face's own syllables.
//
//   kvd_xhfgen FONT OUT         writes the atlas
//   kvd_xhfgen --measure FONT ATLAS
//                               composes all 11,172 syllables from the atlas
//                               and prints the mean and worst intersection
//                               over union of their inked texels against the
//                               face's rendering; fails below a mean of 0.5
//
// The atlas is 512 by 512 coverage bytes; glyph g owns the 20 by 20 texels
// from (g % 25 * 20 + 3, g / 25 * 20 + 3), top row first, which is what a
// quad of the composer samples. Pieces are drawn in the inner 18 by 18 so
// that linear filtering never reaches a neighbour.
//
// Where the pieces come from: the face builds most syllables as composites of
// three positioned jamo glyphs, so each piece of the atlas's numbering
// (initial by the shape class of its vowel, vowel by its initial group, each
// with or without a final; final) is the jamo glyph its syllables use most.
// A piece that no composite shows (syllables with no final are mostly drawn
// whole) is distilled from the whole syllables that contain it: the vowel is
// what most of its syllables ink, the initial what remains in most of its
// syllables once vowel and final are taken away.
#include <ft2build.h>
#include FT_FREETYPE_H
#include FT_OUTLINE_H

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <map>
#include <vector>

namespace {

const int kAtlas = 512, kCell = 20, kPerRow = 25, kInset = 3;
const int kSuper = 4;                        // supersampling of the pieces
const int kInner = 18;                       // drawn square inside a cell
const int kHi = kCell * kSuper;              // 80: a cell supersampled
const int kFirst = 0xAC00, kSyllables = 11172;

typedef std::vector<unsigned char> Image; // kHi by kHi, top row first

int ClassOfVowel(int j)
{
    static const int cls[21] = {0, 1, 0, 1, 0, 1, 0, 1, 2, 4, 5, 4, 2, 3, 6, 7, 6, 3, 2, 4, 0};
    return cls[j];
}

struct Mapping {
    double dScale;   // font units to supersampled texels
    double dOffX;    // supersampled texels
    double dOffY;
};

class Renderer {
public:
    FT_Library lib = nullptr;
    FT_Face face = nullptr;
    Mapping map{};

    Renderer() = default;
    Renderer(const Renderer&) = delete;
    Renderer& operator=(const Renderer&) = delete;
    ~Renderer()
    {
        if (face != nullptr)
            FT_Done_Face(face);
        if (lib != nullptr)
            FT_Done_FreeType(lib);
    }

    bool Open(const char* pszFont)
    {
        if (FT_Init_FreeType(&lib) != 0 || FT_New_Face(lib, pszFont, 0, &face) != 0) {
            std::fprintf(stderr, "kvd_xhfgen: cannot open %s\n", pszFont);
            return false;
        }
        FT_Select_Charmap(face, FT_ENCODING_UNICODE);
        // The box of every syllable fits the drawn square.
        FT_BBox all = {1 << 30, 1 << 30, -(1 << 30), -(1 << 30)};
        for (int s = 0; s < kSyllables; ++s) {
            if (FT_Load_Char(face, kFirst + s, FT_LOAD_NO_SCALE | FT_LOAD_NO_HINTING) != 0)
                continue;
            FT_BBox b;
            FT_Outline_Get_CBox(&face->glyph->outline, &b);
            all.xMin = std::min(all.xMin, b.xMin);
            all.yMin = std::min(all.yMin, b.yMin);
            all.xMax = std::max(all.xMax, b.xMax);
            all.yMax = std::max(all.yMax, b.yMax);
        }
        if (all.xMin > all.xMax) {
            std::fprintf(stderr, "kvd_xhfgen: %s has no Hangul syllables\n", pszFont);
            return false;
        }
        double dSide = std::max(all.xMax - all.xMin, all.yMax - all.yMin);
        map.dScale = kInner * kSuper / dSide;
        map.dOffX = (kHi - (all.xMax - all.xMin) * map.dScale) / 2 - all.xMin * map.dScale;
        map.dOffY = (kHi - (all.yMax - all.yMin) * map.dScale) / 2 - all.yMin * map.dScale;
        return true;
    }

    // Renders a glyph (components resolved) with the mapping, x stretched by
    // dStretchX about dCenterX and then moved by dShiftX (font units).
    Image Glyph(FT_UInt nGlyph, double dStretchX = 1.0, double dCenterX = 0.0, double dShiftX = 0.0) const
    {
        Image img(kHi * kHi, 0);
        if (FT_Load_Glyph(face, nGlyph, FT_LOAD_NO_SCALE | FT_LOAD_NO_HINTING) != 0 ||
            face->glyph->format != FT_GLYPH_FORMAT_OUTLINE)
            return img;
        FT_Outline& o = face->glyph->outline;
        for (int i = 0; i < o.n_points; ++i) {
            double x = ((o.points[i].x - dCenterX) * dStretchX + dCenterX + dShiftX) * map.dScale + map.dOffX;
            double y = o.points[i].y * map.dScale + map.dOffY;
            o.points[i].x = static_cast<FT_Pos>(std::lround(x * 64));
            o.points[i].y = static_cast<FT_Pos>(std::lround(y * 64));
        }
        FT_Bitmap bm;
        std::memset(&bm, 0, sizeof(bm));
        bm.rows = kHi;
        bm.width = kHi;
        bm.pitch = kHi;
        bm.buffer = img.data();
        bm.pixel_mode = FT_PIXEL_MODE_GRAY;
        bm.num_grays = 256;
        FT_Outline_Get_Bitmap(lib, &o, &bm);
        return img;
    }
    Image Char(unsigned long cp) const { return Glyph(FT_Get_Char_Index(face, cp)); }
};

// Supersampled coverage to the 20 by 20 texels of a cell.
void Downsample(const Image& img, unsigned char* pOut, int nPitch)
{
    for (int y = 0; y < kCell; ++y) {
        for (int x = 0; x < kCell; ++x) {
            int sum = 0;
            for (int dy = 0; dy < kSuper; ++dy)
                for (int dx = 0; dx < kSuper; ++dx)
                    sum += img[(y * kSuper + dy) * kHi + x * kSuper + dx];
            pOut[y * nPitch + x] = static_cast<unsigned char>(sum / (kSuper * kSuper));
        }
    }
}

// The pixels inked in at least the fraction dQuorum of the images, each
// first cleared where the mask of its index is inked.
Image Consensus(const std::vector<Image>& imgs, const std::vector<const Image*>& masks, double dQuorum)
{
    Image out(kHi * kHi, 0);
    if (imgs.empty())
        return out;
    for (int p = 0; p < kHi * kHi; ++p) {
        int n = 0;
        for (size_t i = 0; i < imgs.size(); ++i) {
            bool bMasked = false;
            for (size_t m = i * 2; m < i * 2 + 2; ++m)
                bMasked = bMasked || (masks[m] != nullptr && (*masks[m])[p] >= 128);
            n += !bMasked && imgs[i][p] >= 128;
        }
        out[p] = n >= dQuorum * imgs.size() ? 255 : 0;
    }
    return out;
}

struct Pieces {
    std::map<int, Image> initial; // key c + 19 * (k + 8 * f)
    std::map<int, Image> vowel;   // key j + 21 * (g + 2 * f)
    std::map<int, Image> final;   // key t
};

int InitialKey(int c, int k, int f) { return c + 19 * (k + 8 * f); }
int VowelKey(int j, int g, int f) { return j + 21 * (g + 2 * f); }
int GroupOf(int c) { return (c == 14 || c == 18) ? 1 : 0; }

// The most used component glyph of each piece among the composite syllables.
void PiecesFromComposites(Renderer& r, Pieces& pieces)
{
    std::map<int, std::map<FT_Int, int>> votesI, votesV, votesF;
    for (int s = 0; s < kSyllables; ++s) {
        FT_UInt nGlyph = FT_Get_Char_Index(r.face, kFirst + s);
        if (FT_Load_Glyph(r.face, nGlyph, FT_LOAD_NO_RECURSE | FT_LOAD_NO_SCALE) != 0 ||
            r.face->glyph->format != FT_GLYPH_FORMAT_COMPOSITE)
            continue;
        int c = s / 588, j = (s % 588) / 28, t = s % 28, f = t ? 1 : 0;
        int nParts = static_cast<int>(r.face->glyph->num_subglyphs);
        if (nParts != 2 + f)
            continue;
        FT_Int ids[3] = {0, 0, 0};
        bool bPlain = true;
        for (int i = 0; i < nParts; ++i) {
            FT_UInt nFlags;
            FT_Int a1, a2;
            FT_Matrix m;
            FT_Get_SubGlyph_Info(r.face->glyph, i, &ids[i], &nFlags, &a1, &a2, &m);
            const FT_UInt nScaled = FT_SUBGLYPH_FLAG_SCALE | FT_SUBGLYPH_FLAG_XY_SCALE | FT_SUBGLYPH_FLAG_2X2;
            bPlain = bPlain && a1 == 0 && a2 == 0 && !(nFlags & nScaled);
        }
        if (!bPlain)
            continue;
        // The face lists the pieces as initial, vowel, final.
        ++votesI[InitialKey(c, ClassOfVowel(j), f)][ids[0]];
        ++votesV[VowelKey(j, GroupOf(c), f)][ids[1]];
        if (f)
            ++votesF[t][ids[2]];
    }
    auto pick = [&](std::map<int, std::map<FT_Int, int>>& votes, std::map<int, Image>& out) {
        for (auto& entry : votes) {
            auto best = std::max_element(entry.second.begin(), entry.second.end(),
                                         [](const auto& a, const auto& b) { return a.second < b.second; });
            out[entry.first] = r.Glyph(static_cast<FT_UInt>(best->first));
        }
    };
    pick(votesI, pieces.initial);
    pick(votesV, pieces.vowel);
    pick(votesF, pieces.final);
}

// Distils the pieces no composite gave from whole syllables.
void PiecesFromSyllables(Renderer& r, Pieces& pieces)
{
    std::map<int, Image> whole;
    auto syllable = [&](int c, int j, int t) -> const Image& {
        int s = c * 588 + j * 28 + t;
        auto it = whole.find(s);
        if (it == whole.end())
            it = whole.emplace(s, r.Char(kFirst + s)).first;
        return it->second;
    };
    auto finalOf = [&](int t) -> const Image* {
        auto it = pieces.final.find(t);
        return t == 0 || it == pieces.final.end() ? nullptr : &it->second;
    };
    // Which pieces are distilled here: the composites' stay as they are.
    std::vector<int> vowels, initials;
    for (int key = 0; key < 21 * 2 * 2; ++key)
        if (!pieces.vowel.count(key))
            vowels.push_back(key);
    for (int key = 0; key < 19 * 8 * 2; ++key)
        if (!pieces.initial.count(key))
            initials.push_back(key);
    auto initialOf = [&](int key) -> const Image* {
        auto it = pieces.initial.find(key);
        return it == pieces.initial.end() ? nullptr : &it->second;
    };
    // The finals a piece is seen with: none, or a few common ones.
    auto finalsFor = [](int f) { return f ? std::vector<int>{1, 4, 8, 16, 21} : std::vector<int>{0}; };
    // Two rounds: the first vowels still hold the strokes most initials
    // share (a top bar); the initials distilled with them let the second
    // round take those strokes out.
    for (int nRound = 0; nRound < 2; ++nRound) {
        for (int key : vowels) {
            int j = key % 21, g = key / 21 % 2, f = key / 42;
            // Two initials are too few to tell a vowel from: the vowels after
            // the two initials of their own group take the common shape.
            if (g == 1)
                continue;
            std::vector<Image> imgs;
            std::vector<const Image*> masks;
            for (int c = 0; c < 19; ++c) {
                if (GroupOf(c) != 0)
                    continue;
                for (int t : finalsFor(f)) {
                    imgs.push_back(syllable(c, j, t));
                    masks.push_back(finalOf(t));
                    masks.push_back(nRound ? initialOf(InitialKey(c, ClassOfVowel(j), f)) : nullptr);
                }
            }
            pieces.vowel[key] = Consensus(imgs, masks, nRound ? 0.85 : 0.7);
        }
        for (int key : vowels)
            if (key / 21 % 2 == 1)
                pieces.vowel[key] = pieces.vowel[key - 21];
        for (int key : initials) {
            int c = key % 19, k = key / 19 % 8, f = key / 152;
            std::vector<Image> imgs;
            std::vector<const Image*> masks;
            for (int j = 0; j < 21; ++j) {
                if (ClassOfVowel(j) != k)
                    continue;
                for (int t : finalsFor(f)) {
                    imgs.push_back(syllable(c, j, t));
                    masks.push_back(&pieces.vowel[VowelKey(j, GroupOf(c), f)]);
                    masks.push_back(finalOf(t));
                }
            }
            pieces.initial[key] = Consensus(imgs, masks, 0.5);
        }
    }
}

void Put(std::vector<unsigned char>& atlas, int g, const Image& img)
{
    int x = g % kPerRow * kCell + kInset, y = g / kPerRow * kCell + kInset;
    Downsample(img, &atlas[y * kAtlas + x], kAtlas);
}

std::vector<unsigned char> BuildAtlas(Renderer& r)
{
    std::vector<unsigned char> atlas(kAtlas * kAtlas, 0);
    Pieces pieces;
    PiecesFromComposites(r, pieces);
    PiecesFromSyllables(r, pieces);
    for (int i = 0; i < 19; ++i)
        Put(atlas, i, r.Char(0x1100 + i));
    for (int i = 0; i < 21; ++i)
        Put(atlas, 19 + i, r.Char(0x1161 + i));
    for (int i = 0; i < 27; ++i)
        Put(atlas, 40 + i, r.Char(0x11A8 + i));
    for (int f = 0; f < 2; ++f) {
        for (int k = 0; k < 8; ++k)
            for (int c = 0; c < 19; ++c)
                Put(atlas, 67 + 152 * f + 19 * k + c, pieces.initial[InitialKey(c, k, f)]);
        for (int j = 0; j < 21; ++j) {
            Put(atlas, 371 + 21 * f + j, pieces.vowel[VowelKey(j, 0, f)]);
            Put(atlas, 446 + 21 * f + j, pieces.vowel[VowelKey(j, 1, f)]);
        }
    }
    for (int t = 1; t < 28; ++t)
        Put(atlas, 412 + t, pieces.final[t]);
    // ASCII in the half-width cell it is drawn in: stretched twice in x so
    // that it keeps its shape, less when its advance would not fit.
    for (int cp = 33; cp <= 126; ++cp) {
        FT_UInt nGlyph = FT_Get_Char_Index(r.face, cp);
        if (FT_Load_Glyph(r.face, nGlyph, FT_LOAD_NO_SCALE | FT_LOAD_NO_HINTING) != 0)
            continue;
        double dAdvance = r.face->glyph->metrics.horiAdvance;
        double dStretch = std::min(2.0, kInner * kSuper / (dAdvance * r.map.dScale));
        // The middle of the advance goes to the middle of the cell.
        double dCellMiddle = (kHi / 2.0 - r.map.dOffX) / r.map.dScale;
        Put(atlas, cp + 482, r.Glyph(nGlyph, dStretch, dAdvance / 2, dCellMiddle - dAdvance / 2));
    }
    return atlas;
}

int Measure(Renderer& r, const char* pszAtlas)
{
    std::vector<unsigned char> atlas(kAtlas * kAtlas, 0);
    FILE* fp = std::fopen(pszAtlas, "rb");
    if (fp == nullptr || std::fread(atlas.data(), 1, atlas.size(), fp) != atlas.size()) {
        std::fprintf(stderr, "kvd_xhfgen: cannot read %s\n", pszAtlas);
        if (fp != nullptr)
            std::fclose(fp);
        return 2;
    }
    std::fclose(fp);
    double dSum = 0.0, dWorst = 1.0;
    int nWorst = 0;
    for (int s = 0; s < kSyllables; ++s) {
        int c = s / 588, j = (s % 588) / 28, t = s % 28;
        int g[3] = {c + 67 + 19 * ClassOfVowel(j), j + (GroupOf(c) ? 446 : 371), t ? t + 412 : -1};
        if (t) {
            g[0] += 152;
            g[1] += 21;
        }
        unsigned char ref[kCell * kCell];
        Downsample(r.Char(kFirst + s), ref, kCell);
        int nBoth = 0, nEither = 0;
        for (int y = 0; y < kCell; ++y) {
            for (int x = 0; x < kCell; ++x) {
                bool bComposed = false;
                for (int gi : g) {
                    if (gi < 0)
                        continue;
                    int ax = gi % kPerRow * kCell + kInset + x, ay = gi / kPerRow * kCell + kInset + y;
                    bComposed = bComposed || atlas[ay * kAtlas + ax] >= 128;
                }
                bool bRef = ref[y * kCell + x] >= 128;
                nBoth += bComposed && bRef;
                nEither += bComposed || bRef;
            }
        }
        double dIoU = nEither ? static_cast<double>(nBoth) / nEither : 1.0;
        dSum += dIoU;
        if (dIoU < dWorst) {
            dWorst = dIoU;
            nWorst = s;
        }
    }
    double dMean = dSum / kSyllables;
    std::printf("atlas quality over %d syllables: IoU mean %.3f, worst %.3f (U+%04X)\n", kSyllables, dMean, dWorst,
                kFirst + nWorst);
    return dMean >= 0.5 ? 0 : 1;
}

} // namespace

int main(int argc, char** argv)
{
    bool bMeasure = argc == 4 && std::strcmp(argv[1], "--measure") == 0;
    if (argc != 3 && !bMeasure) {
        std::fprintf(stderr, "usage: kvd_xhfgen FONT OUT | kvd_xhfgen --measure FONT ATLAS\n");
        return 2;
    }
    Renderer r;
    if (!r.Open(argv[bMeasure ? 2 : 1]))
        return 2;
    if (bMeasure)
        return Measure(r, argv[3]);
    std::vector<unsigned char> atlas = BuildAtlas(r);
    FILE* fp = std::fopen(argv[2], "wb");
    if (fp == nullptr || std::fwrite(atlas.data(), 1, atlas.size(), fp) != atlas.size() || std::fclose(fp) != 0) {
        std::fprintf(stderr, "kvd_xhfgen: cannot write %s\n", argv[2]);
        return 2;
    }
    return 0;
}
