#pragma once
// A synthetic 2D line: a track that bends once, shot points that repeat and
// jump where asked, and a section with a dipping reflector among flat ones,
// seen through a Ricker wavelet with a little noise. Every value is a pure
// function of the options, so tests can recompute what the file holds.

#include <string>

namespace tolmar_cli {

struct LineSynthOptions {
    int traces = 600, samples = 500;
    int intervalUs = 4000;
    int spStart = 1000, spStep = 1;     // spStep below 0 makes falling shot points
    int repeatEvery = 0;                // every n-th shot point written twice; 0: none
    int gapEvery = 0, gapLength = 3;    // after every n-th shot point, gapLength missing; 0: none
    std::string format = "ieee";        // ibm, ieee, int16
    int scaler = -100;
    double x0 = 500000, y0 = 6700000, spacing = 25, azimuthDeg = 60, bendDeg = 35;
    // The dipping reflector: its time at the first shot point and its dip.
    double reflectorMs = 600, dipMsPerTrace = 0.8;
    unsigned seed = 1;
};

// The dipping reflector's time at the i-th shot point of the line (from 0,
// counting the missing ones).
double line_reflector_time(LineSynthOptions const& o, int shotIndex);
// Map position of the i-th shot point: along the azimuth, turning by
// bendDeg at the middle of the line.
void line_position(LineSynthOptions const& o, int shotIndex, double& x, double& y);
// Shot points in the line (the missing left out) and traces in the file
// (the repeated counted twice).
int line_shot_count(LineSynthOptions const& o);
int line_trace_count(LineSynthOptions const& o);
// Whether the i-th shot point is in the file.
bool line_shot_present(LineSynthOptions const& o, int shotIndex);

// Writes the line (shot point at byte 17, CDP x and y at 181 and 185 with
// the scaler at 71); false with one sentence in `error`.
bool write_synthetic_line(std::string const& path, LineSynthOptions const& options, std::string& error);

} // namespace tolmar_cli
