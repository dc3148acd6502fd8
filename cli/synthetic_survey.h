#pragma once
// A synthetic post-stack 3D survey that looks like seismic: folded, dipping
// reflectors cut by a normal fault, seen through a Ricker wavelet with a
// little noise. Every sample is a pure function of the options, so a test
// can recompute what a file should hold.

#include <functional>
#include <string>

namespace tolmar_cli {

struct SynthOptions {
    int inlines = 100, crosslines = 80, samples = 500;
    int inlineStart = 1000, inlineStep = 1, crosslineStart = 2000, crosslineStep = 2;
    int intervalUs = 4000;
    std::string format = "ibm"; // ibm, ieee, int32, int16, int8
    bool littleEndian = false;
    bool crosslineSorted = false;
    bool irregular = false; // outline with missing traces
    int scaler = -100;      // coordinate scaler word; 0 counts as 1
    double x0 = 500000, y0 = 6700000, spacing = 12.5, azimuthDeg = 30;
    unsigned seed = 1;
};

// The sample format code for a format name, or 0 for an unknown name.
int synth_format_code(std::string const& format);

// Sample `sample` of the trace at the given 0-based line indexes, as handed
// to the writer: about +-1000 for float formats; for integer formats scaled
// to most of the type's range, unrounded but never beyond it.
float synthetic_amplitude(SynthOptions const& options, int inlineIndex, int crosslineIndex, int sample);

// Whether the file holds the trace. An irregular survey loses a corner and a
// hole, but its first and last inline and crossline keep traces.
bool trace_present(SynthOptions const& options, int inlineIndex, int crosslineIndex);

// Traces in the file.
long long synthetic_trace_count(SynthOptions const& options);

// Writes the survey to path, which appears only when complete. Inlines
// advance along azimuthDeg (clockwise from north), crosslines 90 degrees to
// its right, `spacing` apart. On failure
// answers false, leaves no file behind and sets error to one sentence.
// progress, if set, receives the fraction done from time to time.
bool write_synthetic_survey(std::string const& path, SynthOptions const& options, std::string& error,
                            std::function<void(double)> progress = {});

} // namespace tolmar_cli
