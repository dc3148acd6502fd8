#pragma once
// Description of a scanned SEG-Y file as stored in the trace index file.
// Byte-aligned, 172 bytes: the layout is part of the index file format.

#include "platform/api.h"

#include <cstddef>

TOLMAR_PUBLIC_BEGIN

namespace Tolmar {

static_assert(sizeof(bool) == 1 && sizeof(int) == 4 && sizeof(float) == 4 && sizeof(double) == 8,
              "the index record assumes 1-byte bools, 4-byte ints and floats, 8-byte doubles");

#pragma pack(push, 1)
struct IndexedSEGYHeader {
    int format = 1;               // sample format code
    int nSamples = 0;             // samples per trace in the file
    bool ibmFloat = false;
    bool littleEndian = false;
    double sampleRate = 1000.0;   // sample interval, microseconds
    bool rescale = false;
    double maxAbsAmplitude = 0.0; // largest absolute amplitude of the rescaling rule
    double scale = 1.0;
    double lowValue = 0.0;
    double highValue = 0.0;
    bool sTransform = false;      // clamp flag
    double sMin = -1.0;           // clamp low
    double sMax = 1.0;            // clamp high
    int inlStart = 0;
    int inlStop = 0;
    int inlStep = 0;
    int crlStart = 0;
    int crlStop = 0;
    int crlStep = 0;
    double zStart = 0.0;          // milliseconds
    double zStop = 0.0;
    double zStep = 0.0;
    float minAmplitude = 0.0f;    // after rescaling
    float maxAmplitude = 0.0f;
    double xInl = 0.0;
    double xCrl = 0.0;
    double x0 = 0.0;
    double yInl = 0.0;
    double yCrl = 0.0;
    double y0 = 0.0;
};
#pragma pack(pop)

static_assert(sizeof(IndexedSEGYHeader) == 172);
static_assert(offsetof(IndexedSEGYHeader, format) == 0);
static_assert(offsetof(IndexedSEGYHeader, nSamples) == 4);
static_assert(offsetof(IndexedSEGYHeader, ibmFloat) == 8);
static_assert(offsetof(IndexedSEGYHeader, littleEndian) == 9);
static_assert(offsetof(IndexedSEGYHeader, sampleRate) == 10);
static_assert(offsetof(IndexedSEGYHeader, rescale) == 18);
static_assert(offsetof(IndexedSEGYHeader, maxAbsAmplitude) == 19);
static_assert(offsetof(IndexedSEGYHeader, scale) == 27);
static_assert(offsetof(IndexedSEGYHeader, lowValue) == 35);
static_assert(offsetof(IndexedSEGYHeader, highValue) == 43);
static_assert(offsetof(IndexedSEGYHeader, sTransform) == 51);
static_assert(offsetof(IndexedSEGYHeader, sMin) == 52);
static_assert(offsetof(IndexedSEGYHeader, sMax) == 60);
static_assert(offsetof(IndexedSEGYHeader, inlStart) == 68);
static_assert(offsetof(IndexedSEGYHeader, inlStop) == 72);
static_assert(offsetof(IndexedSEGYHeader, inlStep) == 76);
static_assert(offsetof(IndexedSEGYHeader, crlStart) == 80);
static_assert(offsetof(IndexedSEGYHeader, crlStop) == 84);
static_assert(offsetof(IndexedSEGYHeader, crlStep) == 88);
static_assert(offsetof(IndexedSEGYHeader, zStart) == 92);
static_assert(offsetof(IndexedSEGYHeader, zStop) == 100);
static_assert(offsetof(IndexedSEGYHeader, zStep) == 108);
static_assert(offsetof(IndexedSEGYHeader, minAmplitude) == 116);
static_assert(offsetof(IndexedSEGYHeader, maxAmplitude) == 120);
static_assert(offsetof(IndexedSEGYHeader, xInl) == 124);
static_assert(offsetof(IndexedSEGYHeader, xCrl) == 132);
static_assert(offsetof(IndexedSEGYHeader, x0) == 140);
static_assert(offsetof(IndexedSEGYHeader, yInl) == 148);
static_assert(offsetof(IndexedSEGYHeader, yCrl) == 156);
static_assert(offsetof(IndexedSEGYHeader, y0) == 164);

} // namespace Tolmar

TOLMAR_PUBLIC_END
