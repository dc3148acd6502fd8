#pragma once
// A renderer's handle on the GPU brick pool: the data source of its cube,
// shared with every other renderer of the same cube, and the renderer
// itself, which the pool asks for the geometry on screen.

#include "platform/api.h"

#include <memory>
#include <utility>

TOLMAR_PUBLIC_BEGIN

namespace Tolmar {

class CubeGeometrySource;
class GPUCubeMemoryDataSource;

class GPUCubeMemoryLineHandler {
public:
    GPUCubeMemoryLineHandler(std::shared_ptr<GPUCubeMemoryDataSource> dataSource, CubeGeometrySource* renderer)
        : data_source_(std::move(dataSource)), renderer_(renderer)
    {
    }

    std::shared_ptr<GPUCubeMemoryDataSource> const& data_source() const { return data_source_; }
    CubeGeometrySource* renderer() const { return renderer_; }

private:
    std::shared_ptr<GPUCubeMemoryDataSource> data_source_;
    CubeGeometrySource* renderer_; // not owned; outlives the handler
};

} // namespace Tolmar

TOLMAR_PUBLIC_END
