#pragma once

// What the tests of NURBS surfaces share: surfaces of both sides, and an evaluation that owes nothing to
// either.

#include <OpenSG/OSGSurface.h>

#include <kelda/KDoubleArray.h>
#include <kelda/KFnNurbsCurve.h>
#include <kelda/KFnNurbsSurface.h>

#include <array>
#include <random>
#include <string>
#include <vector>

// -- surfaces of the modeller ----------------------------------------------------------------------

KDoubleArray knotsOf(const std::vector<double>& values);
std::vector<double> valuesOf(const KDoubleArray& knots);

/// What a surface of the modeller is made of.
struct KeldaSurface {
    unsigned degreeU = 3;
    unsigned degreeV = 3;
    KFnNurbsSurface::Form formU = KFnNurbsSurface::kOpen;
    KFnNurbsSurface::Form formV = KFnNurbsSurface::kOpen;
    bool rational = false;
    std::vector<double> knotsU;
    std::vector<double> knotsV;
    std::vector<KPoint> cvs; ///< v running fastest

    unsigned countU() const { return static_cast<unsigned>(knotsU.size()) + 1 - degreeU; }
    unsigned countV() const { return static_cast<unsigned>(knotsV.size()) + 1 - degreeV; }
};

/// Degree 3 and 4 x 4 CVs on a bumpy sheet, with these knots in both directions.
KeldaSurface bicubic(const std::vector<double>& knots);
/// Degree 1, in the xy plane, with parameters 0..size in both directions.
KeldaSurface keldaPlate(double size = 4.0);
/// Makes the surface below the transform and expects that to succeed.
KFnNurbsSurface makeSurface(const KeldaSurface& surface, const char* name, const KObject& transform);

/// What a curve in a parameter plane is made of.
struct KeldaCurve {
    unsigned degree = 1;
    std::vector<double> knots;
    std::vector<KPoint> cvs;
    bool rational = false;
};

KeldaCurve polyline(const std::vector<std::pair<double, double>>& points);
KeldaCurve squareLoop(double low, double high); ///< counter-clockwise
KeldaCurve circleLoop(double u, double v, double radius);
/// Data for trimming, of one boundary.
KObjectArray boundaryOf(const std::vector<KeldaCurve>& curves);
KStatus trim(KFnNurbsSurface& surface, const std::vector<std::vector<KeldaCurve>>& boundaries);

// -- surfaces of the scene graph -------------------------------------------------------------------

/// What a surface core is made of.
struct GraphSurface {
    osg::UInt32 dimU = 3;
    osg::UInt32 dimV = 3;
    std::vector<float> knotsU;
    std::vector<float> knotsV;
    std::vector<osg::Pnt4f> points;
};

struct GraphCurve {
    osg::UInt32 dim = 1;
    std::vector<double> knots;
    std::vector<osg::Pnt3f> points;
};

/// Bicubic, 4 x 4 points of weight 1, clamped.
GraphSurface graphPatch();
/// Bilinear, with parameters 0..size.
GraphSurface graphPlate(float size = 4.0f);
GraphCurve graphPolyline(const std::vector<std::pair<float, float>>& points);
osg::SurfacePtr makeSurface(const GraphSurface& surface);
void addLoop(const osg::SurfacePtr& surface, const std::vector<GraphCurve>& curves);

std::vector<float> valuesOf(const osg::MFReal32& field);
std::vector<osg::UInt32> valuesOf(const osg::MFUInt32& field);
std::vector<osg::Pnt4f> controlPointsOf(const osg::SurfacePtr& surface);

/// Everything that a surface core says about its shape and trimming, for comparisons bit by bit.
std::string bitsOf(const osg::SurfacePtr& surface);

// -- evaluation ------------------------------------------------------------------------------------

typedef std::array<double, 3> Place;

/// By de Boor's recursion in homogeneous coordinates, from the arrays of the core alone.
Place evaluate(const osg::SurfacePtr& surface, double u, double v);
/// The point of a trimming curve at a share (0..1) of its range; its points taken as homogeneous ones.
std::array<double, 2> evaluateCurve(const osg::SurfacePtr& surface, osg::UInt32 curve, double share);
/// The parameter range of the core: u from, u to, v from, v to.
std::array<double, 4> domainOf(const osg::SurfacePtr& surface);

// -- random surfaces -------------------------------------------------------------------------------

/// Of any degree, form, multiplicity of knots and weights; sound.
KeldaSurface randomKeldaSurface(std::mt19937& random);
/// Of any degree and multiplicity, clamped or with even knots, weights 1; numbers of single precision.
GraphSurface randomGraphSurface(std::mt19937& random);
/// For parameters from u0 to u1 and v0 to v1, a frame along their edge and round or cornered holes in it, or
/// single regions. Outer loops stand before their holes.
std::vector<std::vector<GraphCurve>> randomLoops(std::mt19937& random, float u0, float u1, float v0,
                                                 float v1);
/// The same as the modeller has it.
std::vector<std::vector<KeldaCurve>> keldaLoops(const std::vector<std::vector<GraphCurve>>& loops);
