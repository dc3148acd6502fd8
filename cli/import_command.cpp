// `tolmar import`: the index file and the brick file of a SEG-Y survey.

#include <CLI/CLI.hpp>

#include <filesystem>
#include <iostream>

#include "cli/commands.h"

namespace tolmar_cli {

namespace fs = std::filesystem;

ImportReport import_survey(Tolmar::SEGYreader3D& reader, ImportRequest& request)
{
    ImportReport report;
    if (request.index.empty() && request.bricksDir.empty())
        fail(request.scan.path, "nothing to import; give --index, --bricks or both");
    if (!request.bricksDir.empty()) {
        if (request.name.empty()) request.name = fs::path(request.scan.path).stem().string();
        report.brickFile = (fs::path(request.bricksDir) / (request.name + ".tmf")).string();
        refuse_existing(report.brickFile, request.force);
    }
    if (!request.index.empty()) refuse_existing(request.index, request.force);

    // The index's histogram and the bricks' value mapping need the amplitude range.
    request.scan.full = true;
    report.scanSeconds = scan_survey(reader, request.scan);

    if (!request.index.empty()) {
        double const t0 = now_seconds();
        if (reader.write_index(request.index) != 1) fail(request.index, "cannot write the index file");
        report.indexSeconds = seconds_since(t0);
    }
    if (!request.bricksDir.empty()) {
        std::error_code ec;
        fs::create_directories(request.bricksDir, ec);
        if (ec) fail(request.bricksDir, "cannot create the folder (" + ec.message() + ")");
        double const t0 = now_seconds();
        int result = 0;
        {
            ProgressBar bar("bricks");
            reader.setProgress(bar.callback());
            Tolmar::SEGYreader::Type types[Tolmar::SEGYreader::SlotCount];
            int positions[Tolmar::SEGYreader::SlotCount];
            request.scan.positions.fill(types, positions);
            result = reader.read_brick((fs::path(request.bricksDir) / "").string(), request.name, types, positions, false);
            reader.setProgress({});
        }
        if (result != 1) fail(report.brickFile, "cannot write the brick file");
        report.brickSeconds = seconds_since(t0);
    }
    return report;
}

namespace {

struct ImportArgs {
    ImportRequest request;
    bool json = false;
};

unsigned long long file_bytes(std::string const& path)
{
    std::error_code ec;
    auto const n = fs::file_size(path, ec);
    return ec ? 0 : static_cast<unsigned long long>(n);
}

void run_import(ImportArgs& a)
{
    Tolmar::SEGYreader3D reader;
    ImportRequest& r = a.request;
    ImportReport const report = import_survey(reader, r);
    if (a.json) {
        JsonObject out;
        out.add("file", json_string(r.scan.path));
        add_scan_json(out, reader, true);
        out.add("storage", r.scan.storage)
            .add("index", r.index.empty() ? "null" : json_string(r.index))
            .add("index_bytes", static_cast<double>(file_bytes(r.index)))
            .add("bricks", report.brickFile.empty() ? "null" : json_string(report.brickFile))
            .add("brick_bytes", static_cast<double>(file_bytes(report.brickFile)))
            .add("seconds", JsonObject()
                                .add("scan", report.scanSeconds)
                                .add("index", report.indexSeconds)
                                .add("bricks", report.brickSeconds)
                                .str());
        std::cout << out.str() << "\n";
        return;
    }
    print_scan(std::cout, reader, true);
    std::cout << "Scanned in " << report.scanSeconds << " s\n";
    if (!r.index.empty())
        std::cout << "Wrote " << r.index << " (" << file_bytes(r.index) << " bytes) in " << report.indexSeconds << " s\n";
    if (!report.brickFile.empty())
        std::cout << "Wrote " << report.brickFile << " (" << file_bytes(report.brickFile) << " bytes, " << r.scan.storage
                  << "-bit samples) in " << report.brickSeconds << " s\n";
}

} // namespace

void add_import_command(CLI::App& app)
{
    auto* cmd = app.add_subcommand("import", "Write the index file and/or the brick file of a SEG-Y survey");
    static ImportArgs a;
    ImportRequest& r = a.request;
    cmd->add_option("FILE", r.scan.path, "SEG-Y file")->required();
    cmd->add_option("--index", r.index, "Index file to write");
    cmd->add_option("--bricks", r.bricksDir, "Folder of the brick file to write");
    cmd->add_option("--name", r.name, "Name of the brick file (default: the SEG-Y file's name)");
    cmd->add_option("--storage", r.scan.storage, "Bits per brick sample")
        ->capture_default_str()
        ->check(CLI::IsMember({8, 16, 32}));
    cmd->add_flag("--force", r.force, "Overwrite existing outputs");
    cmd->add_flag("--json", a.json, "Print one JSON object");
    r.scan.add_strict_option(*cmd);
    r.scan.add_range_options(*cmd);
    r.scan.positions.add_options(*cmd);
    r.scan.encoding.add_options(*cmd);
    cmd->callback([] { run_import(a); });
}

} // namespace tolmar_cli
