#include "host/gdal_vector_file.h"

#include <unistd.h>

#include <cstdio>
#include <memory>

#include <gdal_priv.h>
#include <ogrsf_frmts.h>

#include "host/gdal_spatial_reference.h"

namespace Tolmar::host {

namespace {

struct DatasetCloser {
    void operator()(GDALDataset* d) const { GDALClose(d); }
};
using Dataset = std::unique_ptr<GDALDataset, DatasetCloser>;

bool fail(std::string* why, std::string const& text)
{
    if (why) *why = text + (CPLGetLastErrorMsg()[0] ? std::string(": ") + CPLGetLastErrorMsg() : std::string());
    return false;
}

OGRFieldType field_type(FieldValue const& v)
{
    if (std::holds_alternative<long long>(v)) return OFTInteger64;
    if (std::holds_alternative<double>(v)) return OFTReal;
    return OFTString;
}

std::unique_ptr<OGRGeometry> geometry(GeometryKind kind, std::vector<vec<double, 3>> const& p)
{
    switch (kind) {
    case GeometryKind::Point: {
        if (p.empty()) return nullptr;
        return std::make_unique<OGRPoint>(p[0][0], p[0][1], p[0][2]);
    }
    case GeometryKind::Line: {
        auto line = std::make_unique<OGRLineString>();
        for (auto const& v : p) line->addPoint(v[0], v[1], v[2]);
        return line;
    }
    case GeometryKind::Surface: {
        auto tin = std::make_unique<OGRTriangulatedSurface>();
        for (std::size_t i = 0; i + 2 < p.size(); i += 3) {
            OGRLinearRing ring;
            for (std::size_t k : {i, i + 1, i + 2, i}) ring.addPoint(p[k][0], p[k][1], p[k][2]);
            OGRTriangle triangle;
            triangle.addRing(&ring);
            tin->addGeometry(&triangle);
        }
        return tin;
    }
    }
    return nullptr;
}

OGRwkbGeometryType layer_type(GeometryKind kind)
{
    switch (kind) {
    case GeometryKind::Point: return wkbPoint25D;
    case GeometryKind::Line: return wkbLineString25D;
    case GeometryKind::Surface: return wkbTINZ;
    }
    return wkbUnknown;
}

bool write_layer(GDALDataset& ds, VectorLayer const& l, std::string* why)
{
    std::unique_ptr<OGRSpatialReference> srs;
    if (l.spatial_reference && !l.spatial_reference->is_unknown()) {
        srs = std::make_unique<OGRSpatialReference>();
        srs->SetAxisMappingStrategy(OAMS_TRADITIONAL_GIS_ORDER);
        if (srs->importFromWkt(l.spatial_reference->wkt().c_str()) != OGRERR_NONE) srs.reset();
    }
    OGRLayer* layer = ds.CreateLayer(l.name.c_str(), srs.get(), layer_type(l.kind), nullptr);
    if (!layer) return fail(why, "cannot create layer " + l.name);
    if (!l.features.empty())
        for (auto const& [name, value] : l.features.front().fields) {
            OGRFieldDefn field(name.c_str(), field_type(value));
            if (layer->CreateField(&field) != OGRERR_NONE) return fail(why, "cannot create field " + name);
        }
    if (layer->StartTransaction() != OGRERR_NONE) return fail(why, "cannot write layer " + l.name);
    for (auto const& f : l.features) {
        OGRFeature feature(layer->GetLayerDefn());
        for (auto const& [name, value] : f.fields) {
            int const index = feature.GetFieldIndex(name.c_str());
            if (index < 0) continue;
            if (auto const* i = std::get_if<long long>(&value))
                feature.SetField(index, static_cast<GIntBig>(*i));
            else if (auto const* d = std::get_if<double>(&value))
                feature.SetField(index, *d);
            else
                feature.SetField(index, std::get<std::string>(value).c_str());
        }
        if (auto g = geometry(l.kind, f.points)) feature.SetGeometryDirectly(g.release());
        if (layer->CreateFeature(&feature) != OGRERR_NONE) return fail(why, "cannot write a feature of " + l.name);
    }
    if (layer->CommitTransaction() != OGRERR_NONE) return fail(why, "cannot write layer " + l.name);
    return true;
}

} // namespace

bool write_vector_layers(std::string const& path, std::vector<VectorLayer> const& layers, std::string* why)
{
    GDALAllRegister();
    // Failures come back through `why`; GDAL's notes (a TIN is an extension
    // of the GeoPackage format) would only clutter the program's output.
    CPLErrorHandlerPusher quiet(CPLQuietErrorHandler);
    CPLErrorReset();
    GDALDriver* driver = GetGDALDriverManager()->GetDriverByName("GPKG");
    if (!driver) return fail(why, "GDAL has no GeoPackage driver");
    // The driver wants the extension; the rename gives the file its name.
    std::string const temp = path + ".tmp" + std::to_string(::getpid()) + ".gpkg";
    {
        Dataset ds(driver->Create(temp.c_str(), 0, 0, 0, GDT_Unknown, nullptr));
        if (!ds) return fail(why, "cannot create " + path);
        for (auto const& l : layers)
            if (!write_layer(*ds, l, why)) {
                ds.reset();
                std::remove(temp.c_str());
                return false;
            }
    }
    if (std::rename(temp.c_str(), path.c_str()) != 0) {
        std::remove(temp.c_str());
        return fail(why, "cannot rename the new file into place");
    }
    return true;
}

bool read_vector_layer(std::string const& path, std::string const& name, VectorLayer& out, std::string* why)
{
    GDALAllRegister();
    CPLErrorReset();
    Dataset ds(static_cast<GDALDataset*>(GDALOpenEx(path.c_str(), GDAL_OF_VECTOR, nullptr, nullptr, nullptr)));
    if (!ds) return fail(why, "cannot be opened as vector data");
    OGRLayer* layer = name.empty() ? ds->GetLayer(0) : ds->GetLayerByName(name.c_str());
    if (!layer) return fail(why, name.empty() ? "holds no layer" : "has no layer " + name);
    out = VectorLayer{};
    out.name = layer->GetName();
    OGRwkbGeometryType const type = wkbFlatten(layer->GetGeomType());
    out.kind = type == wkbPoint ? GeometryKind::Point : type == wkbTIN ? GeometryKind::Surface : GeometryKind::Line;
    if (OGRSpatialReference const* srs = layer->GetSpatialRef()) {
        char* wkt = nullptr;
        srs->exportToWkt(&wkt);
        out.spatial_reference = spatial_reference_from_text(wkt ? wkt : "");
        CPLFree(wkt);
    }
    OGRFeatureDefn const* defn = layer->GetLayerDefn();
    layer->ResetReading();
    for (std::unique_ptr<OGRFeature> f(layer->GetNextFeature()); f; f.reset(layer->GetNextFeature())) {
        VectorFeature vf;
        for (int i = 0; i < defn->GetFieldCount(); ++i) {
            OGRFieldDefn const* fd = defn->GetFieldDefn(i);
            FieldValue v;
            if (fd->GetType() == OFTInteger || fd->GetType() == OFTInteger64)
                v = static_cast<long long>(f->GetFieldAsInteger64(i));
            else if (fd->GetType() == OFTReal)
                v = f->GetFieldAsDouble(i);
            else
                v = std::string(f->GetFieldAsString(i));
            vf.fields.emplace_back(fd->GetNameRef(), std::move(v));
        }
        if (OGRGeometry const* g = f->GetGeometryRef()) {
            auto add = [&vf](OGRPoint const& p) { vf.points.push_back(vec<double, 3>{{p.getX(), p.getY(), p.getZ()}}); };
            OGRwkbGeometryType const gt = wkbFlatten(g->getGeometryType());
            if (gt == wkbPoint) {
                add(*g->toPoint());
            } else if (gt == wkbLineString) {
                for (auto const& p : *g->toLineString()) add(p);
            } else if (gt == wkbTIN) {
                for (auto const* triangle : *g->toTriangulatedSurface())
                    for (int k = 0; k < 3; ++k) {
                        OGRPoint p;
                        triangle->getExteriorRing()->getPoint(k, &p);
                        add(p);
                    }
            }
        }
        out.features.push_back(std::move(vf));
    }
    return true;
}

} // namespace Tolmar::host

extern "C" bool tolmar_write_vector_layers(std::string const* path,
                                           std::vector<Tolmar::host::VectorLayer> const* layers, std::string* why)
{
    return Tolmar::host::write_vector_layers(*path, *layers, why);
}

extern "C" bool tolmar_read_vector_layer(std::string const* path, std::string const* name,
                                         Tolmar::host::VectorLayer* out, std::string* why)
{
    return Tolmar::host::read_vector_layer(*path, *name, *out, why);
}
