#include <OpenSG/OSGSimpleGeometry.h>

#include "OSGDefaultMaterials.h"

OSG_BEGIN_NAMESPACE

// -- Default materials ------------------------------------------------------------------------

static SimpleMaterialPtr defaultMaterial;
static SimpleMaterialPtr defaultUnlitMaterial;

static MaterialPtr makeDefault(SimpleMaterialPtr& material, bool lit)
{
    if (material) {
        return material;
    }
    material = SimpleMaterial::create();
    if (!material) {
        return NullFC;
    }
    addRefCP(material);
    const CPEditor edit(material);
    material->setDiffuse(Color3f(.7f, .7f, .5f));
    material->setAmbient(Color3f(.1f, .1f, .1f));
    material->setSpecular(Color3f(1.f, 1.f, 1.f));
    material->setShininess(20.f);
    material->setLit(lit);
    return material;
}

MaterialPtr getDefaultMaterial()
{
    return makeDefault(defaultMaterial, true);
}

MaterialPtr getDefaultUnlitMaterial()
{
    return makeDefault(defaultUnlitMaterial, false);
}

void releaseDefaultMaterials()
{
    clearRefCP(defaultMaterial);
    clearRefCP(defaultUnlitMaterial);
}

// -- Planes and boxes -------------------------------------------------------------------------

/// Collects rectangles divided into strips.
class StripBuilder
{
public:
    /// A rectangle with its texture origin at \a origin; \a u and \a v are its sides, the normal is u x v.
    void addRectangle(const Pnt3f& origin, const Vec3f& u, const Vec3f& v, UInt16 uCount, UInt16 vCount)
    {
        const UInt32 columns = osgMax<UInt32>(1, uCount);
        const UInt32 rows = osgMax<UInt32>(1, vCount);
        const UInt32 first = _positions->getSize();
        Vec3f normal = u.cross(v);
        normal.normalize();
        for (UInt32 row = 0; row <= rows; ++row) {
            for (UInt32 column = 0; column <= columns; ++column) {
                const Real32 s = Real32(column) / Real32(columns);
                const Real32 t = Real32(row) / Real32(rows);
                _positions->getField().push_back(origin + u * s + v * t);
                _normals->getField().push_back(normal);
                _texCoords->getField().push_back(Vec2f(s, t));
            }
        }
        for (UInt32 row = 0; row < rows; ++row) {
            _types->getField().push_back(GL_TRIANGLE_STRIP);
            _lengths->getField().push_back(2 * (columns + 1));
            for (UInt32 column = 0; column <= columns; ++column) {
                _indices->getField().push_back(first + (row + 1) * (columns + 1) + column);
                _indices->getField().push_back(first + row * (columns + 1) + column);
            }
        }
    }
    GeometryPtr finish()
    {
        const GeometryPtr geometry = Geometry::create();
        const CPEditor edit(geometry);
        geometry->setTypes(_types);
        geometry->setLengths(_lengths);
        geometry->setIndices(_indices);
        geometry->setPositions(_positions);
        geometry->setNormals(_normals);
        geometry->setTexCoords(_texCoords);
        geometry->getIndexMapping().push_back(Geometry::MapPosition | Geometry::MapNormal |
                                              Geometry::MapTexCoords);
        geometry->setMaterial(getDefaultMaterial());
        return geometry;
    }

private:
    GeoPTypesUI8Ptr _types = GeoPTypesUI8::create();
    GeoPLengthsUI32Ptr _lengths = GeoPLengthsUI32::create();
    GeoIndicesUI32Ptr _indices = GeoIndicesUI32::create();
    GeoPositions3fPtr _positions = GeoPositions3f::create();
    GeoNormals3fPtr _normals = GeoNormals3f::create();
    GeoTexCoords2fPtr _texCoords = GeoTexCoords2f::create();
};

GeometryPtr makePlaneGeo(Real32 sizeX, Real32 sizeY, UInt16 horizontal, UInt16 vertical)
{
    if (GlobalSystemState != Running) {
        return NullFC;
    }
    StripBuilder builder;
    builder.addRectangle(Pnt3f(-sizeX / 2, -sizeY / 2, 0), Vec3f(sizeX, 0, 0), Vec3f(0, sizeY, 0), horizontal,
                         vertical);
    return builder.finish();
}

GeometryPtr makeBoxGeo(Real32 sizeX, Real32 sizeY, Real32 sizeZ, UInt16 horizontal, UInt16 vertical,
                       UInt16 depth)
{
    if (GlobalSystemState != Running) {
        return NullFC;
    }
    const Real32 x = sizeX / 2;
    const Real32 y = sizeY / 2;
    const Real32 z = sizeZ / 2;
    const Vec3f alongX(sizeX, 0, 0);
    const Vec3f alongY(0, sizeY, 0);
    const Vec3f alongZ(0, 0, sizeZ);
    StripBuilder builder;
    builder.addRectangle(Pnt3f(-x, -y, z), alongX, alongY, horizontal, vertical);
    builder.addRectangle(Pnt3f(x, -y, -z), -alongX, alongY, horizontal, vertical);
    builder.addRectangle(Pnt3f(x, -y, z), -alongZ, alongY, depth, vertical);
    builder.addRectangle(Pnt3f(-x, -y, -z), alongZ, alongY, depth, vertical);
    builder.addRectangle(Pnt3f(-x, y, z), alongX, -alongZ, horizontal, depth);
    builder.addRectangle(Pnt3f(-x, -y, -z), alongX, alongZ, horizontal, depth);
    return builder.finish();
}

NodePtr makePlane(Real32 sizeX, Real32 sizeY, UInt16 horizontal, UInt16 vertical)
{
    return makeNodeFor(makePlaneGeo(sizeX, sizeY, horizontal, vertical));
}

NodePtr makeBox(Real32 sizeX, Real32 sizeY, Real32 sizeZ, UInt16 horizontal, UInt16 vertical, UInt16 depth)
{
    return makeNodeFor(makeBoxGeo(sizeX, sizeY, sizeZ, horizontal, vertical, depth));
}

OSG_END_NAMESPACE
