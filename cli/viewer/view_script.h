#pragma once
// The viewer's script: one command a line, for tests and for repeatable
// pictures. '#' starts a comment. The commands:
//   camera AZ EL            look at the whole scene from there (degrees)
//   front inline|crossline|time   the front view of the current cube's slice
//   frame                   the whole scene from the current azimuth and elevation
//   orbit DAZ DEL [FRAMES]  turn the camera, drawing FRAMES frames on the way
//   zoom STEPS              as many wheel steps (forward comes closer)
//   cube K                  the cube the slice commands act on, from 1
//   inline N | crossline N | time MS   move the current cube's slice there
//   show inline|crossline|time on|off
//   colour-table NAME|FILE, range LOW HIGH, outline on|off   the current cube's
//   exaggeration E          view units a millisecond
//   wait [SECONDS]          until every shown slice has all its data (60 s)
//   screenshot PATH         the 3D view as a PNG
//   window-screenshot PATH  the whole window, panel included
//   print                   the viewer's state as one line of JSON
//   quit

#include <optional>
#include <string>
#include <vector>

namespace tolmar_cli {

struct ScriptCommand {
    enum class Verb {
        Camera, Front, Frame, Orbit, Zoom, Cube, Inline, Crossline, Time, Show, ColourTable, Range, Outline,
        Exaggeration, Wait, Screenshot, WindowScreenshot, Print, Quit
    };
    Verb verb = Verb::Print;
    // Numbers as given; a slice direction is 0, 1 or 2 and on/off 1 or 0.
    std::vector<double> numbers;
    std::string text; // a name or path: the rest of the line
    int line = 0;
};

// Nothing for a blank or comment line; false with `error` ("line N: ...")
// for a line that is not a command.
bool parse_script_line(std::string const& line, int number, std::optional<ScriptCommand>& out, std::string& error);

} // namespace tolmar_cli
