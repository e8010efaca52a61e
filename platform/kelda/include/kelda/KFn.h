#pragma once

/// Numbers of the function-set types, as programs know them. A node answers to its own type and to all it is
/// based on.
struct KFn {
    enum Type {
        kInvalid = 0,
        kBase = 1,
        kDependencyNode = 4,
        kAnimCurve = 7,
        kTransform = 110,
        kDagNode = 111,
        kShape = 112,
        kWorld = 113,
        kLocator = 200,
        kCamera = 250,
        kNurbsCurve = 267,
        kNurbsSurface = 294,
        kMesh = 296,
        kLight = 302,
        kAmbientLight = 303,
        kAreaLight = 305,
        kDirectionalLight = 308,
        kPointLight = 309,
        kSpotLight = 310,
        kLambert = 363,
        kReflect = 364,
        kPhong = 366,
        kBlinn = 365,
        kTexture = 450,
        kPlace2dTexture = 451,
        kPlace3dTexture = 452,
        kSet = 460,
        kShadingEngine = 461,
        kProjection = 459,
        kFileTexture = 494,
        kMeshPolygonComponent = 550, ///< not a node: faces of a mesh
        kNurbsCurveData = 551,       ///< not a node: a curve that stands in no scene
        kUvChooser = 790
    };
};

struct KSpace {
    /// In which space a value is asked for.
    enum Space {
        kInvalid = 0,
        kTransform = 1, ///< the transform's own (local) space
        kObject = 2,    ///< the shape's own space
        kWorld = 3
    };
};
