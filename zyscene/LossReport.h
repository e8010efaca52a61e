#pragma once

#include "Loss.h"

#include <OpenSG/OSGNode.h>

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace zyscene
{

class JsonWriter;

/// What an export of a scene graph to a Kelda scene does not carry over.
class LossReport
{
public:
    /// What was lost of one kind.
    struct Entry {
        std::uint64_t count = 0; ///< nodes or materials; what is lost of a core is counted at its first node
        /// Their names in depth-first order; of lost subtrees those of the topmost nodes.
        std::vector<std::string> names;
        std::vector<std::string> details; ///< for people: none, or one for each name
    };

    /// Looks at everything at and below `root`, which may be null. Linear in nodes, primitives, materials and
    /// pixels.
    explicit LossReport(const osg::NodePtr& root = osg::NullFC);

    const Entry& operator[](Loss loss) const { return _entries[static_cast<std::size_t>(loss)]; }

    /// Reports each kind that occurs as one issue of the file: as a warning or as a note.
    void report(RunContext& context, const std::string& file) const;

    /// The kinds that occur, as an array.
    void write(JsonWriter& json) const;

private:
    std::array<Entry, lossCount> _entries;
};

/// Changes a scene graph into what its export can carry of it, as far as things are drawn at other places,
/// hidden, or with other materials: comparing with the result tells whether the export lost anything that the
/// report does not name. Of what else is lost, inactive nodes for example, a comparison has to be told.
void applyLosses(const osg::NodePtr& root);

/// The materials alone: gives each geometry the one that comes back, and takes away those of groups.
void applyMaterialLosses(const osg::NodePtr& root);

} // namespace zyscene
