#include "segy_test_util.h"

#include <gtest/gtest.h>

#include <gdal_priv.h>
#include <ogrsf_frmts.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <limits>
#include <random>
#include <sys/wait.h>

namespace tolmar_test {

ScratchDir::ScratchDir()
{
    static std::mt19937_64 rng(std::random_device{}());
    auto const base = std::filesystem::temp_directory_path();
    do {
        dir_ = (base / ("tolmar_test_" + std::to_string(rng()))).string();
    } while (std::filesystem::exists(dir_));
    std::filesystem::create_directories(dir_);
}

ScratchDir::~ScratchDir()
{
    std::error_code ec;
    std::filesystem::remove_all(dir_, ec);
}

std::vector<std::pair<int, int>> Survey::order() const
{
    std::vector<std::pair<int, int>> out;
    int const outer = crosslineSorted ? crosslines : inlines;
    int const inner = crosslineSorted ? inlines : crosslines;
    for (int a = 0; a < outer; ++a)
        for (int b = 0; b < inner; ++b) {
            int i = crosslineSorted ? b : a;
            int const j = crosslineSorted ? a : b;
            if (inlinesFalling) i = inlines - 1 - i;
            int const il = inlineStart + i * inlineStep, xl = crosslineStart + j * crosslineStep;
            if (present(il, xl)) out.emplace_back(il, xl);
        }
    return out;
}

std::vector<Tolmar::SEGYwriter::Word> surveyWords(Survey const& s, int il, int xl)
{
    auto const& l = s.layout;
    double const mul = s.scaler < 0 ? -s.scaler : s.scaler == 0 ? 1 : 1.0 / s.scaler;
    return {{l.positions[SEGYreader::SlotInline], l.types[SEGYreader::SlotInline], double(il)},
            {l.positions[SEGYreader::SlotCrossline], l.types[SEGYreader::SlotCrossline], double(xl)},
            {l.positions[SEGYreader::SlotScaler], SEGYreader::Integer16, double(s.scaler)},
            {l.positions[SEGYreader::SlotX], l.types[SEGYreader::SlotX], s.x(il, xl) * mul},
            {l.positions[SEGYreader::SlotY], l.types[SEGYreader::SlotY], s.y(il, xl) * mul},
            {l.positions[SEGYreader::SlotZ], l.types[SEGYreader::SlotZ], double(s.delay)}};
}

void scanWhole(Tolmar::SEGYreader3D& r, std::string const& path, unsigned storage, bool ibm, bool littleEndian)
{
    r.setFile(path);
    r.setIbmFloat(ibm);
    r.setLittleEndian(littleEndian);
    r.setStorage(storage);
    r.setInlRange(-100000, 100000, 1);
    r.setCrlRange(-100000, 100000, 1);
    r.setZRange(0, 100000, 0.001);
    Layout const l;
    EXPECT_EQ(r.scan(l.types, l.positions, false, true), 1);
}

Imported::Imported(Survey s, unsigned storage) : sv(std::move(s))
{
    EXPECT_TRUE(writeSurvey(segy, sv));
    // One scan for both, as the tool imports.
    Tolmar::SEGYreader3D reader;
    scanWhole(reader, segy, storage);
    EXPECT_EQ(reader.write_index(index), 1);
    Layout const l;
    EXPECT_EQ(reader.read_brick(dir.dir() + "/", "cube", l.types, l.positions, false), 1);
}

Survey linearSurvey()
{
    return {.inlines = 40, .crosslines = 38, .samples = 70, .amplitude = [](int il, int xl, int k) {
                return static_cast<float>((il - 100) * 3 - (xl - 200) + k * 0.5);
            }};
}

bool writeSurvey(std::string const& path, Survey const& s)
{
    Tolmar::SEGYwriter w;
    w.setFormat(s.format);
    w.setIbmFloat(s.ibm);
    w.setLittleEndian(s.littleEndian);
    w.setSampleCount(s.samples);
    w.setSampleInterval(s.intervalUs);
    w.setTextHeader({"C 1 TOLMAR TEST SURVEY"});
    EXPECT_TRUE(w.open(path)) << w.error();
    std::vector<float> samples(s.samples);
    for (auto [il, xl] : s.order()) {
        for (int k = 0; k < s.samples; ++k) samples[k] = s.amplitude(il, xl, k);
        EXPECT_TRUE(w.writeTrace(surveyWords(s, il, xl), samples)) << w.error();
    }
    bool const ok = w.close();
    EXPECT_TRUE(ok) << w.error();
    return ok;
}

std::string surveyFile(ScratchDir const& dir, Survey const& s, std::string const& name)
{
    writeSurvey(dir.path(name), s);
    return dir.path(name);
}

void patchTraceWord(std::string const& path, Survey const& s, long long trace, int position, int bytes, int value)
{
    long long const traceBytes = 240LL + static_cast<long long>(s.samples) * (s.format == 3 ? 2 : s.format == 8 ? 1 : 4);
    std::fstream f(path, std::ios::binary | std::ios::in | std::ios::out);
    f.seekp(3600 + trace * traceBytes + position - 1);
    unsigned char b[4];
    for (int k = 0; k < bytes; ++k) b[k] = static_cast<unsigned char>(static_cast<unsigned>(value) >> (8 * (bytes - 1 - k)));
    f.write(reinterpret_cast<char const*>(b), bytes);
    ASSERT_TRUE(f.good());
}

std::ifstream openAtTraces(ReaderHarness& r, std::string const& path)
{
    r.setFile(path);
    std::ifstream s(path, std::ios::binary);
    r.skipEBCDICheader(&s);
    r.readReelHeader(&s);
    return s;
}

Header readHeader(ReaderHarness& r, std::istream& s, Layout const& l)
{
    Header h;
    r.readTraceHeader(&s, l.types, l.positions, &h.tsn, &h.sp, &h.inl, &h.crl, &h.x, &h.y, &h.z, &h.depth, &h.ns);
    return h;
}

int runOracle(std::string const& script, std::vector<std::string> const& args)
{
    std::string cmd = std::string(TOLMAR_PYTHON) + " " + TOLMAR_ORACLE_DIR + "/" + script;
    for (auto const& a : args) cmd += " '" + a + "'";
    int const rc = std::system(cmd.c_str());
    return WIFEXITED(rc) ? WEXITSTATUS(rc) : -1;
}

std::vector<char> readFile(std::string const& path)
{
    std::ifstream f(path, std::ios::binary);
    return std::vector<char>((std::istreambuf_iterator<char>(f)), std::istreambuf_iterator<char>());
}

void writeFile(std::string const& path, std::vector<char> const& bytes)
{
    std::ofstream(path, std::ios::binary | std::ios::trunc).write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
}

bool writeCubesWorkspace(char const* driverName, std::string const& path, std::vector<std::array<char const*, 4>> const& rows)
{
    GDALAllRegister();
    GDALDriver* const driver = GetGDALDriverManager()->GetDriverByName(driverName);
    if (!driver || !driver->GetMetadataItem(GDAL_DCAP_CREATE)) return false;
    GDALDatasetUniquePtr ds(driver->Create(path.c_str(), 0, 0, 0, GDT_Unknown, nullptr));
    if (!ds) return false;
    OGRLayer* const layer = ds->CreateLayer("cubes", nullptr, wkbPoint, nullptr);
    EXPECT_TRUE(layer);
    if (!layer) return false;
    char const* const names[] = {"Name", "SEGYFile", "BrickFile", "IndexFile"};
    for (char const* field : names) {
        OGRFieldDefn defn(field, OFTString);
        EXPECT_EQ(layer->CreateField(&defn), OGRERR_NONE);
    }
    OGRFieldDefn traces("Traces", OFTInteger);
    EXPECT_EQ(layer->CreateField(&traces), OGRERR_NONE);
    int n = 0;
    for (auto const& row : rows) {
        OGRFeature f(layer->GetLayerDefn());
        for (int i = 0; i < 4; ++i) {
            if (row[i]) f.SetField(names[i], row[i]);
            else f.SetFieldNull(f.GetFieldIndex(names[i]));
        }
        f.SetField("Traces", 1200 + n++);
        OGRPoint point(1.0 * n, 2.0 * n);
        f.SetGeometry(&point);
        EXPECT_EQ(layer->CreateFeature(&f), OGRERR_NONE);
    }
    EXPECT_TRUE(ds->CreateLayer("wells", nullptr, wkbPoint, nullptr));
    return true;
}

std::string writeBricks(std::string const& path, Tolmar::vec<unsigned, 3> size, Tolmar::Info3DGrid::eDataType type,
                        double minValue, double maxValue,
                        std::function<void(Tolmar::Streamer3DGridLowLevelWriter const&, Tolmar::Brick&)> const& fill,
                        Tolmar::SEGYCubeInfo const& info)
{
    Tolmar::Streamer3DGridLowLevelWriter w;
    EXPECT_TRUE(w.create(path, size, type, 36, 2, minValue, maxValue, std::numeric_limits<double>::quiet_NaN(), info));
    std::vector<Tolmar::Brick> bricks(w.grid().bricks_in_level(0));
    for (unsigned id = 0; id < bricks.size(); ++id) {
        bricks[id].id = id;
        bricks[id].data.resize(w.brick_bytes());
        fill(w, bricks[id]);
    }
    w.add_bricks(bricks);
    EXPECT_TRUE(w.finish());
    return path;
}

} // namespace tolmar_test
