// Opening the cube a host feature names.

#include "foundation/log.h"
#include "host/IFeature.h"
#include "platform/text_encoding.h"
#include "segy/Seismic3DTraceReader.h"
#include "util/Seismic3DInfo.h"

namespace Tolmar {

Seismic3DTraceReader* Seismic3DTraceReader::CreateSeismic3DTraceReader(host::IFeature const& feature)
{
    Util::logc("Entered Seismic3DTraceReader::CreateSeismic3DTraceReader()");
    Util::Seismic3DInfo info;
    if (!Util::getSeismic3DInfo(feature, info)) {
        Util::logc("Util::getSeismic3DInfo() failed!");
        return nullptr;
    }
    std::wstring const workspace = feature.workspace_path();
    Util::log(L"Workspace: ", workspace);
    if (!info.BrickFile.empty()) {
        std::string const brick = Util::sconvertPathToAbsolutePath(workspace, info.BrickFile);
        Util::logf("Brick file=%s\n", brick.c_str());
        return new Seismic3DTraceReader(brick);
    }
    std::string const index = Util::sconvertPathToAbsolutePath(workspace, info.IndexFile);
    std::string const segy = Util::sconvertPathToAbsolutePath(workspace, info.SEGYFile);
    Util::logf("Index file=%s\n", index.c_str());
    Util::logf("SEGY file=%s\n", segy.c_str());
    if (index.empty() || segy.empty()) return nullptr;
    return new Seismic3DTraceReader(segy, index);
}

} // namespace Tolmar
