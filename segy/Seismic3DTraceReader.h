#pragma once
// Synchronous access to a seismic cube held either as a brick file or as an
// indexed SEG-Y file: traces, slices, geometry and the amplitude histogram.
// The calls block until the data has been read, so they belong on a worker
// thread, not in a draw callback. A reader that could not open its source is
// not valid(); its operations then answer false and leave outputs alone.

#include "platform/api.h"

#include <memory>
#include <string>
#include <vector>

#include "foundation/StreamKeys.h"
#include "segy/ISeismic3DTraceReader.h"

TOLMAR_PUBLIC_BEGIN

namespace Tolmar {

class Streamer3DGridReader;
class StreamerIndexedSEGY3DReader;
namespace host {
class IFeature;
}

class Seismic3DTraceReader : public ISeismic3DTraceReader {
public:
    // A brick file, shared with every other user of the same file.
    explicit Seismic3DTraceReader(std::string const& brickPath);
    // A SEG-Y file through its index file.
    Seismic3DTraceReader(std::string const& segyPath, std::string const& indexPath);

    // The cube a host feature names in its fields "Name", "SEGYFile",
    // "BrickFile" and "IndexFile"; a brick file wins. Relative paths are
    // taken from the folder that holds the feature's workspace. Null when the
    // fields cannot be read.
    static Seismic3DTraceReader* CreateSeismic3DTraceReader(host::IFeature const& feature);

    bool valid() const { return valid_; }
    // Why a reader is not valid, in words that follow the name of the file
    // at fault ("has a checksum mismatch in the header"), and that file.
    std::string const& error() const { return error_; }
    std::string const& error_file() const { return errorFile_; }
    float undef() override;

    int ninl() const { return (inlStop - inlStart) / inlStep + 1; }
    int ncrl() const { return (crlStop - crlStart) / crlStep + 1; }
    int nt() const { return static_cast<int>((zStop - zStart) / zStep) + 1; }

    // One trace. From a brick file the samples between zStart and zStop;
    // from an indexed file the whole trace, whatever the window says.
    bool trace(int inl, int crl, double zStart, double zStop, std::vector<float>& out);
    // The trace at a fractional position, interpolated bilinearly between
    // its four neighbours, between zStart and zStop. False outside the
    // cube, when a neighbour is missing, or when their lengths differ; a
    // sample is undefined where any neighbour's is.
    bool traced(double inl, double crl, double zStart, double zStop, std::vector<float>& out);

    // From a brick file, the layouts of slices.h: inline samples x
    // crosslines, crossline samples x inlines, time slice inlines x
    // crosslines. From an indexed file, what the file holds, sorted: an
    // inline by sample then crossline, a crossline by sample then inline, a
    // time slice by crossline then inline (inlines fastest, as from bricks);
    // samples the file lacks are left out, so a slice can be shorter.
    bool inlslice(int inl, std::vector<float>& out) override;
    bool crlslice(int crl, std::vector<float>& out) override;
    bool timeslice(double z, std::vector<float>& out) override;

    // A row or column of a full time slice (inlines fastest) at a fractional
    // crossline or inline. The column is undefined where either neighbour
    // is; the row takes undefined values as they come.
    bool timesliceRow(std::vector<float> const& slice, double crl, std::vector<float>& out);
    bool timesliceColumn(std::vector<float> const& slice, double inl, std::vector<float>& out);

    // Map coordinates of a grid position and back.
    double x(int inl, int crl) const { return inl * xInl + crl * xCrl + x0; }
    double y(int inl, int crl) const { return inl * yInl + crl * yCrl + y0; }
    double xd(double inl, double crl) const { return inl * xInl + crl * xCrl + x0; }
    double yd(double inl, double crl) const { return inl * yInl + crl * yCrl + y0; }
    double inLd(double x, double y) const;
    double crLd(double x, double y) const;
    // Map distance between neighbouring lines.
    double inlSpacing() const;
    double crlSpacing() const;
    // Angle in degrees of the grid's inline axis (or, for a mirrored grid,
    // its crossline axis) and whether it is mirrored. Negative angles come
    // back as 360 - angle, as the layers expect.
    void rotationAndFlip(bool& flip, double& angle) const;
    // xMin, xMax, yMin, yMax of the four corners.
    void getBounds(double bounds[4]) const;
    // The amplitude range and histogram of the cube.
    bool getHistogram(float& low, float& high, std::vector<unsigned long long>& bins) const;

    int bytesPerSample = 4;
    double xInl = 0.0, xCrl = 0.0, x0 = 0.0;
    double yInl = 0.0, yCrl = 0.0, y0 = 0.0;
    std::shared_ptr<Streamer3DGridReader> brickReader;
    std::shared_ptr<StreamerIndexedSEGY3DReader> indexedReader;

private:
    template <class Before>
    bool indexed_slice(std::vector<SampleKey> const& keys, Before before, std::vector<float>& out);
    bool indexed_line(int line, bool isInline, std::vector<float>& out);

    bool valid_ = false;
    std::string error_, errorFile_;
};

} // namespace Tolmar

TOLMAR_PUBLIC_END
