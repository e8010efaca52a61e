#ifndef ZYRA_TESTS_DRAWNSCENE_H
#define ZYRA_TESTS_DRAWNSCENE_H

#include "sceneTools.h"

#include <OpenSG/OSGComponentTransform.h>
#include <OpenSG/OSGGroup.h>
#include <OpenSG/OSGSpotLight.h>
#include <OpenSG/OSGTransform.h>
#include <OpenSG/OSGTransform3D.h>

#include <rapidcheck.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <vector>

// -- What a scene draws -----------------------------------------------------------------------

struct Drawn {
    std::vector<double> positions; // in the world, x y z
    std::vector<double> normals;   // in the world, of length 1
    std::vector<double> lights;    // position and direction of each, in the world
};

typedef double Matrix44[4][4]; // row by row

inline void multiply(Matrix44& a, const osg::Matrix& b)
{
    Matrix44 product = {};
    for (unsigned int r = 0; r < 4; ++r) {
        for (unsigned int c = 0; c < 4; ++c) {
            for (unsigned int k = 0; k < 4; ++k)
                product[r][c] += a[r][k] * b[c][k];
        }
    }
    std::copy(&product[0][0], &product[0][0] + 16, &a[0][0]);
}

// The rows of the result are the cross products of the columns: the inverse transpose but for the
// determinant.
inline void normalMatrix(const Matrix44& m, double (&result)[3][3])
{
    double det = 0.0;
    for (unsigned int r = 0; r < 3; ++r) {
        for (unsigned int c = 0; c < 3; ++c) {
            const unsigned int r1 = (r + 1) % 3, r2 = (r + 2) % 3, c1 = (c + 1) % 3, c2 = (c + 2) % 3;
            result[r][c] = m[r1][c1] * m[r2][c2] - m[r1][c2] * m[r2][c1];
        }
        det += r == 0 ? m[0][0] * result[0][0] + m[0][1] * result[0][1] + m[0][2] * result[0][2] : 0.0;
    }
    if (det < 0.0) {
        for (auto& row : result) {
            for (double& value : row)
                value = -value;
        }
    }
}

inline void collect(const osg::NodePtr& node, const Matrix44& above, Drawn& out)
{
    Matrix44 world;
    std::copy(&above[0][0], &above[0][0] + 16, &world[0][0]);
    if (const auto transform = osg::TransformPtr::dcast(node->getCore()))
        multiply(world, transform->getMatrix());
    if (const auto geo = osg::GeometryPtr::dcast(node->getCore())) {
        Matrix44 own;
        std::copy(&world[0][0], &world[0][0] + 16, &own[0][0]);
        if (geo->getTransform() != osg::NullFC)
            multiply(own, geo->getTransform()->getMatrix());
        for (osg::UInt32 i = 0; i < geo->getPositions()->size(); ++i) {
            const osg::Pnt3f p = geo->getPositions()->getValue(i);
            for (unsigned int r = 0; r < 3; ++r)
                out.positions.push_back(own[r][0] * p[0] + own[r][1] * p[1] + own[r][2] * p[2] + own[r][3]);
        }
        double forNormals[3][3];
        normalMatrix(own, forNormals);
        for (osg::UInt32 i = 0; geo->getNormals() != osg::NullFC && i < geo->getNormals()->size(); ++i) {
            const osg::Vec3f n = geo->getNormals()->getValue(i);
            double v[3], length = 0.0;
            for (unsigned int r = 0; r < 3; ++r) {
                v[r] = forNormals[r][0] * n[0] + forNormals[r][1] * n[1] + forNormals[r][2] * n[2];
                length += v[r] * v[r];
            }
            for (const double value : v)
                out.normals.push_back(value / std::sqrt(length));
        }
    }
    if (const auto spot = osg::SpotLightPtr::dcast(node->getCore())) {
        const osg::Pnt3f p = spot->getPosition();
        const osg::Vec3f d = spot->getDirection();
        double direction[3], length = 0.0;
        for (unsigned int r = 0; r < 3; ++r) {
            out.lights.push_back(world[r][0] * p[0] + world[r][1] * p[1] + world[r][2] * p[2] + world[r][3]);
            direction[r] = world[r][0] * d[0] + world[r][1] * d[1] + world[r][2] * d[2];
            length += direction[r] * direction[r];
        }
        for (const double value : direction)
            out.lights.push_back(value / std::sqrt(length));
    }
    for (osg::UInt32 i = 0; i < node->getNChildren(); ++i)
        collect(node->getChild(i), world, out);
}

inline Drawn drawnIn(const osg::NodePtr& root)
{
    const Matrix44 identity = {{1, 0, 0, 0}, {0, 1, 0, 0}, {0, 0, 1, 0}, {0, 0, 0, 1}};
    Drawn result;
    collect(root, identity, result);
    return result;
}

// The largest difference, relative to the largest value where that is above 1.
inline double difference(const std::vector<double>& a, const std::vector<double>& b)
{
    if (a.size() != b.size())
        return std::numeric_limits<double>::infinity();
    double most = 0.0, size = 1.0;
    for (std::size_t i = 0; i < a.size(); ++i) {
        most = std::max(most, std::fabs(a[i] - b[i]));
        size = std::max(size, std::fabs(a[i]));
    }
    return most / size;
}

inline osg::GeometryPtr makeTriangle()
{
    const osg::GeometryPtr geo = makePolygons({3}, {1, 2}, {0, 0, 1, 0, 2, 1});
    setProperty(
        geo, &osg::Geometry::setPositions,
        makeProperty<osg::GeoPositions3f>(std::vector<osg::Pnt3f>{{0.5f, 0, 0}, {0, 1, 0.25f}, {-1, 0, 2}}));
    setProperty(geo, &osg::Geometry::setNormals,
                makeProperty<osg::GeoNormals3f>(std::vector<osg::Vec3f>{{0, 0.6f, 0.8f}, {1, 0, 0}}));
    return geo;
}

// -- Any scene --------------------------------------------------------------------------------

inline float anyFloat(int lowest, int highest)
{
    return static_cast<float>(*rc::gen::inRange<int>(lowest * 8, highest * 8 + 1)) / 8.0f;
}

inline osg::Vec3f anyVector(int lowest, int highest)
{
    const float x = anyFloat(lowest, highest), y = anyFloat(lowest, highest);
    return osg::Vec3f(x, y, anyFloat(lowest, highest));
}

inline osg::Quaternion anyRotation()
{
    osg::Quaternion q;
    const osg::Vec3f axis = anyVector(-2, 2);
    q.setValueAsAxisDeg(axis[0], axis[1], axis[2] + 0.0625f, anyFloat(-180, 180));
    return q;
}

// Scales far enough from 0 for the picture to be compared.
inline osg::Vec3f anyScale(bool uniform)
{
    osg::Vec3f scale;
    for (unsigned int i = 0; i < 3; ++i)
        scale[i] =
            uniform && i > 0 ? scale[0] : anyFloat(1, 3) * (*rc::gen::arbitrary<bool>() ? 1.0f : -1.0f);
    return scale;
}

inline osg::NodeCorePtr anyCore()
{
    switch (*rc::gen::inRange<int>(0, 4)) {
    case 0:
        return osg::Group::create();
    case 1: {
        const osg::TransformPtr core = osg::Transform::create();
        const osg::CPEditor edit(core);
        osg::Matrix matrix;
        matrix.setTransform(anyVector(-4, 4), anyRotation(), anyScale(false), anyRotation());
        core->setMatrix(matrix);
        return core;
    }
    case 2: {
        const osg::ComponentTransformPtr core = osg::ComponentTransform::create();
        const osg::CPEditor edit(core);
        core->setTranslation(anyVector(-4, 4));
        core->setCenter(anyVector(-4, 4));
        core->setRotation(anyRotation());
        core->setScale(anyScale(false));
        core->setScaleOrientation(anyRotation());
        return core;
    }
    default: {
        const osg::Transform3DPtr core = osg::Transform3D::create();
        const osg::CPEditor edit(core);
        core->setTranslation(anyVector(-4, 4));
        core->setScale(anyScale(false));
        core->setShear(anyVector(-1, 1));
        core->setScalePivot(anyVector(-4, 4));
        core->setScalePivotTranslation(anyVector(-4, 4));
        if (*rc::gen::arbitrary<bool>()) {
            core->setRotationAsQuaternion(anyRotation());
            core->setRotationOrientationAsQuaternion(anyRotation());
            core->setRotatePivot(anyVector(-4, 4));
            core->setRotatePivotTranslation(anyVector(-4, 4));
        }
        return core;
    }
    }
}

#endif
