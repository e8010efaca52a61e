#pragma once

#include "io/SceneSink.h"

#include <map>

namespace kelda
{

/// Builds what a reader tells, in the scene. Trusts nothing that depends on the scene as a whole: indices,
/// the DAG's form, meshes, face ranges. Texts and values are the reader's to check for form.
class SceneBuilder : public SceneSink
{
public:
    /// `importing`: the scene stays what it is, names that are taken are made unique, the unit and the values
    /// of default nodes are left alone. Otherwise the scene must be new.
    SceneBuilder(Scene& scene, bool importing) : _scene(scene), _importing(importing) {}
    /// Full path of the file that is imported: names of files beside it stay theirs.
    void setImportedFile(std::string path) { _importedFile = std::move(path); }

    bool begin(int version) override;
    bool unit(LinearUnit unit) override;
    bool timeUnit(KTime::Unit unit) override;
    bool node(FileIndex index, const NodeType* type, std::string_view name, FileIndex parent,
              bool nameIsUnique) override;
    const NodeType* defaultNode(FileIndex index, std::string_view name) override;
    bool numbers(int attr, const double* values, int count) override;
    bool text(int attr, int32_t element, std::string_view value) override;
    bool mesh(MeshData& mesh) override;
    bool surface(SurfaceData& surface) override;
    bool curve(CurveData& curve) override;
    bool keys(KeyData& keys) override;
    bool instance(FileIndex child, FileIndex parent) override;
    bool parentOrder(FileIndex child, const FileIndex* parents, size_t count) override;
    bool member(FileIndex set, FileIndex node, uint32_t instance, const FaceSet* faces) override;
    bool connection(FileIndex source, std::string_view sourceAttr, FileIndex destination,
                    std::string_view destinationAttr) override;
    void leftOut(const std::string& what) override { ++_leftOut[what]; }
    bool end() override;

    /// Takes everything out of the scene again that came in.
    void undo();

    /// What was left out, for people: one line each.
    std::vector<std::string> notes() const;
    size_t nodeCount() const { return _created.size(); }

private:
    struct Entry {
        NodeId id;      ///< kNoNode: left out
        NodeId standIn; ///< of a node that was left out: the parent that its children get
    };

    bool isKnown(FileIndex index) const { return index < _entries.size(); }
    NodeId parentId(FileIndex parent) const;
    DagNode* dagNode(FileIndex index) const;
    std::string fileName(const Node& node, int attr, std::string value) const;
    bool badIndex();
    bool checkPaths();

    Scene& _scene;
    bool _importing;
    std::string _importedFile; ///< empty: none
    bool _tolerant = false;    ///< the file is of a newer version
    std::vector<Entry> _entries;
    std::vector<NodeId> _created;
    bool _leftOutNodes = false;
    bool _hasMembers = false;
    std::map<std::string, size_t> _leftOut;
};

} // namespace kelda
