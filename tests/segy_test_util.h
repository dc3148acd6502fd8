#pragma once
// Shared helpers of the SEG-Y tests: scratch folders, synthetic surveys and
// a reader that exposes the protected decoding steps.

#include <array>
#include <fstream>
#include <functional>
#include <string>
#include <vector>

#include "foundation/Streamer3DGridLowLevelWriter.h"
#include "segy/SEGYreader.h"
#include "segy/SEGYreader3D.h"
#include "segy/SEGYwriter.h"

namespace tolmar_test {

using Tolmar::SEGYreader;

// A fresh folder, removed with its content at the end of the scope.
class ScratchDir {
public:
    ScratchDir();
    ~ScratchDir();
    std::string path(std::string const& name) const { return dir_ + "/" + name; }
    std::string const& dir() const { return dir_; }

private:
    std::string dir_;
};

// Standard revision 1 positions of the nine slots.
struct Layout {
    SEGYreader::Type types[SEGYreader::SlotCount] = {
        SEGYreader::Integer32, SEGYreader::Integer32, SEGYreader::Integer32, SEGYreader::Integer16,
        SEGYreader::Integer32, SEGYreader::Integer32, SEGYreader::Integer16, SEGYreader::Integer16,
        SEGYreader::Integer32};
    int positions[SEGYreader::SlotCount] = {17, 189, 193, 71, 181, 185, 109, 69, 41};
    // The layout with one slot moved to another type and position.
    Layout with(int slot, SEGYreader::Type type, int position) const
    {
        Layout l = *this;
        l.types[slot] = type;
        l.positions[slot] = position;
        return l;
    }
};

// A regular survey on a rotated grid; inline-sorted unless crosslineSorted.
struct Survey {
    int inlineStart = 100, inlineStep = 1, inlines = 4;
    int crosslineStart = 200, crosslineStep = 2, crosslines = 5;
    int samples = 50;
    int intervalUs = 4000;
    int format = 1;
    bool ibm = true;
    bool littleEndian = false;
    int scaler = -100;     // coordinate scaler word
    int delay = 0;         // z of the first sample
    bool crosslineSorted = false;
    bool inlinesFalling = false; // inlines run from the last to the first
    // Traces for which this answers false are left out of the file.
    std::function<bool(int il, int xl)> present = [](int, int) { return true; };
    Layout layout{};
    // Amplitude of sample k of the trace at (inline, crossline).
    std::function<float(int il, int xl, int k)> amplitude = [](int il, int xl, int k) {
        return static_cast<float>((il * 7 + xl * 3 + k) % 97 - 48) * 1.5f;
    };

    // An orthogonal grid, rotated against the map axes.
    double x(int il, int xl) const { return 400000.0 + 10.0 * il + 10.0 * xl; }
    double y(int il, int xl) const { return 7000000.0 - 8.0 * il + 12.5 * xl; }
    // Traces in file order as (inline, crossline).
    std::vector<std::pair<int, int>> order() const;
};

// Writes the survey; false with a gtest failure when the writer fails.
bool writeSurvey(std::string const& path, Survey const& s);
// Writes the survey under name in the folder and answers its path.
std::string surveyFile(ScratchDir const& dir, Survey const& s, std::string const& name = "s.sgy");

// Sets the reader on the file with every line and sample accepted and scans
// it fully with the standard layout; a gtest failure when the scan fails.
void scanWhole(Tolmar::SEGYreader3D& r, std::string const& path, unsigned storage, bool ibm = true,
               bool littleEndian = false);

// A survey written to s.sgy, scanned whole with samples kept as `storage` bits,
// and imported beside it: index s.idx and brick file cube.tmf.
struct Imported {
    ScratchDir dir;
    Survey sv;
    std::string segy = dir.path("s.sgy"), index = dir.path("s.idx"), bricks = dir.path("cube.tmf");
    explicit Imported(Survey s, unsigned storage = 32);
};

// 40 inlines, 38 crosslines and 70 samples, linear in all three directions so
// that bilinear interpolation is exact, more than a brick across every way.
Survey linearSurvey();

// Overwrites a big-endian header word of trace `trace` (from 0) at a 1-based
// byte position; bytes is 2 or 4.
void patchTraceWord(std::string const& path, Survey const& s, long long trace, int position, int bytes, int value);

// The words a survey writer puts in each trace header.
std::vector<Tolmar::SEGYwriter::Word> surveyWords(Survey const& s, int il, int xl);

// Exposes the protected steps of the reader to tests.
class ReaderHarness : public SEGYreader {
public:
    explicit ReaderHarness(int dimension = 3) : SEGYreader(dimension) {}
    using SEGYreader::readReelHeader;
    using SEGYreader::readTrace;
    using SEGYreader::readTraceHeader;
    using SEGYreader::skipEBCDICheader;
    using SEGYreader::skipReelHeader;
    using SEGYreader::skipToLastTraceHeader;
    using SEGYreader::skipTrace;
    using SEGYreader::skipTraceHeader;
    using SEGYreader::skipTraceHeadersAndTraces;
    unsigned storageMember() const { return storage_; }
};

// Sets the file on the reader, reads its reel header and answers a stream
// standing at the first trace header.
std::ifstream openAtTraces(ReaderHarness& r, std::string const& path);

// One decoded trace header.
struct Header {
    int tsn = 0, sp = 0, inl = 0, crl = 0, ns = 0;
    double x = 0, y = 0, z = 0, depth = 0;
};
Header readHeader(ReaderHarness& r, std::istream& s, Layout const& l);

// A brick file of level-0 bricks of 36 with a border of 2, undefined value the
// type's default: fill gets each brick with its id set and its data sized, and
// clears the data of a brick to leave undefined. Answers the path.
std::string writeBricks(std::string const& path, Tolmar::vec<unsigned, 3> size, Tolmar::Info3DGrid::eDataType type,
                        double minValue, double maxValue,
                        std::function<void(Tolmar::Streamer3DGridLowLevelWriter const&, Tolmar::Brick&)> const& fill,
                        Tolmar::SEGYCubeInfo const& info = {});

// A workspace made by GDAL's driver: a point class "cubes" with the string
// fields Name, SEGYFile, BrickFile and IndexFile, a null pointer leaving one
// null, and an integer Traces (1200, 1201, ...), a feature a row; and a class
// "wells" without features. False where the driver cannot create.
bool writeCubesWorkspace(char const* driver, std::string const& path, std::vector<std::array<char const*, 4>> const& rows);

// Runs a Python 3 script of the oracle folder with segyio; answers its exit status.
int runOracle(std::string const& script, std::vector<std::string> const& args);

// The whole content of a file.
std::vector<char> readFile(std::string const& path);
// Replaces the file's content with the bytes.
void writeFile(std::string const& path, std::vector<char> const& bytes);

} // namespace tolmar_test
