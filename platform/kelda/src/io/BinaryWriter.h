#pragma once

#include "io/BinaryFormat.h"
#include "io/SceneSink.h"

#include <unordered_map>

namespace kelda
{

/// Writes the form "kb". Records are gathered in memory, arrays are not: they must stay as they are until
/// end().
class BinaryWriter : public SceneSink
{
public:
    explicit BinaryWriter(Output& output) : _output(output) {}

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
    void leftOut(const std::string&) override {}
    bool end() override;

private:
    struct Block {
        const void* data;
        uint64_t bytes;
    };
    struct TypeUse {
        uint32_t number;
        std::vector<int32_t> attrs; ///< by attribute of the type: number in the file's list, -1: not stored
    };

    void open(RecordTag tag);
    bool close();
    template <class T>
    void put(const T& value);
    void putText(std::string_view text);
    uint64_t addBlock(const void* data, uint64_t bytes);
    template <class Vector>
    void putArray(const Vector& values);
    void putCounts(const PodVector<int32_t>& values);
    void putIds(const PodVector<int32_t>& values);
    void putRule(uint64_t count, uint64_t rule, int32_t value);
    const TypeUse& use(const NodeType& type);
    bool writeZeros(uint64_t count);

    Output& _output;
    uint32_t _version = 0;
    std::string _records;
    size_t _recordStart = 0; ///< place of the open record's length
    std::vector<Block> _small;
    std::vector<Block> _large;
    std::unordered_map<const NodeType*, TypeUse> _types;
    const NodeType* _type = nullptr;
    uint32_t _nodeCount = 0;
    bool _hasRules = false; ///< some array is told by a rule
};

} // namespace kelda
