// `tolmar info`: what a SEG-Y file says about itself, before any scan.

#include <CLI/CLI.hpp>

#include <fstream>
#include <iostream>

#include "cli/cli_support.h"
#include "cli/commands.h"
#include "cli/json.h"

namespace tolmar_cli {

namespace {

struct InfoArgs {
    std::string path;
    unsigned long long trace = 0;
    bool json = false;
    bool strict = false;
    HeaderPositions positions;
    Encoding encoding;
};

// A text header line as printable ASCII, so that the output is valid UTF-8
// whatever bytes the header holds; trailing blanks dropped.
std::string printable(std::string const& line)
{
    std::string out = line;
    for (char& c : out)
        if (static_cast<unsigned char>(c) < 0x20 || static_cast<unsigned char>(c) > 0x7e) c = '.';
    std::size_t const end = out.find_last_not_of(' ');
    return end == std::string::npos ? std::string() : out.substr(0, end + 1);
}

// The reel header as the tool reads it: the lenient sample count unless strict.
class ReelReader : public Tolmar::SEGYreader {
public:
    ReelReader() : SEGYreader(3) {}
    void read()
    {
        std::ifstream s(filename(), std::ios::binary);
        skipEBCDICheader(&s);
        readReelHeader(&s);
    }
};

void run_info(InfoArgs& a)
{
    a.encoding.detect(a.path);
    ReelReader reader;
    a.encoding.apply(reader);
    reader.setTrustReelSampleCount(!a.strict);
    reader.setSkipExtendedTextHeaders(!a.strict);
    reader.setFile(a.path);
    if (reader.fileSize() == 0) fail(a.path, "cannot open the file");

    int format = 0;
    auto const reel = reader.reelHeader(&format, true);
    int interval = 0;
    for (auto const& [name, value] : reel)
        if (name == "SampleInterval") interval = value;
    reader.read();
    int const samples = reader.nSamples();
    Tolmar::SEGYreader::Type types[Tolmar::SEGYreader::SlotCount];
    int positions[Tolmar::SEGYreader::SlotCount];
    a.positions.fill(types, positions);
    unsigned long long traces = 0;
    auto const header = reader.traceHeader(a.trace, types, positions, traces);
    if (traces == 0) fail(a.path, "holds no complete trace");
    if (a.trace >= traces) fail(a.path, "has no trace " + std::to_string(a.trace) + " (" + std::to_string(traces) + " traces)");
    std::list<std::string> const text = reader.EBCDICheader();

    std::string const formatText = Tolmar::segy_format_name(format, a.encoding.coding.ibmFloat);
    std::string const order = a.encoding.coding.littleEndian ? "little" : "big";
    if (a.json) {
        std::string lines;
        for (auto const& l : text) lines += printable(l) + "\n";
        if (!lines.empty()) lines.pop_back();
        JsonObject reelObject, traceObject;
        for (auto const& [name, value] : reel) reelObject.add(name, value);
        for (auto const& [bytes, value] : header) traceObject.add(bytes, value);
        std::cout << JsonObject()
                         .add("file", json_string(a.path))
                         .add("traces", static_cast<double>(traces))
                         .add("samples", samples)
                         .add("sample_interval_us", interval)
                         .add_text("format", formatText)
                         .add("format_code", format)
                         .add_text("byte_order", order)
                         .add_text("text_encoding", a.encoding.coding.asciiText ? "ascii" : "ebcdic")
                         .add_text("text_header", lines)
                         .add("reel_header", reelObject.str())
                         .add("trace", static_cast<double>(a.trace))
                         .add("trace_header", traceObject.str())
                         .str()
                  << "\n";
        return;
    }
    std::cout << "Text header (" << (a.encoding.coding.asciiText ? "ASCII" : "EBCDIC") << "):\n";
    for (auto const& l : text) std::cout << "  " << printable(l) << "\n";
    std::cout << "\nReel header:\n";
    for (auto const& [name, value] : reel) std::cout << "  " << name << ": " << value << "\n";
    std::cout << "\nTrace header " << a.trace << " (non-zero words):\n";
    for (auto const& [bytes, value] : header)
        if (value != 0) std::cout << "  " << bytes << ": " << value << "\n";
    std::cout << "\n" << traces << " traces of " << samples << " samples every " << interval << " us, format "
              << format << " (" << formatText << "), " << order << "-endian\n";
}

} // namespace

void add_info_command(CLI::App& app)
{
    auto* cmd = app.add_subcommand("info", "Show the text, reel and trace headers of a SEG-Y file");
    static InfoArgs a;
    cmd->add_option("FILE", a.path, "SEG-Y file")->required();
    cmd->add_option("--trace", a.trace, "Trace whose header is listed (from 0)")->capture_default_str();
    cmd->add_flag("--json", a.json, "Print one JSON object");
    cmd->add_flag("--strict", a.strict, "Take the reel header's sample count as a signed word, as it stands");
    a.positions.add_options(*cmd);
    a.encoding.add_options(*cmd);
    cmd->callback([] { run_info(a); });
}

} // namespace tolmar_cli
