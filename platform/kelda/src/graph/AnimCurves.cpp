#include "graph/AnimCurves.h"

namespace kelda
{

Outcome makeAnimCurve(Scene& scene, const PlugKey& driven, NodeId& made)
{
    const Node& node = *scene.node(driven.node);
    const NodeType& type = *findNodeType("animCurve");
    const std::string name = scene.name(node) + "_" + node.type->attr(driven.attr).name;
    const Node* curve = scene.create(type, name);
    const Outcome connected = scene.connect({curve->id, type.findAttr("output"), -1}, driven, false);
    if (!connected) {
        scene.remove({curve->id});
        return connected;
    }
    made = curve->id;
    return connected;
}

} // namespace kelda
