#pragma once

#include <OpenSG/OSGSceneFileType.h>

OSG_BEGIN_NAMESPACE

/// Binary scene files, suffix "osb": containers and their fields as reflection shows them, big-endian.
///
/// Options, separated by commas and read from those that the SceneFileHandler keeps for "osb" (from this
/// object's own where it keeps none):
///   quantizePositions=0|8|16|24, quantizeNormals=..., quantizeTexCoords=...
///                                     writes positions (GeoPositions3f), normals (GeoNormals3f), texture
///                                     coordinates (GeoTexCoords2f) with that many bits for each component;
///                                     0, the default: exactly
///   packIndices=true|false            writes indices with as few bits as they need; default false
///   unpack16BitIndices=true|false     packed indices up to 65535 become GeoIndicesUI16 on reading; default
///   false
class OSG_PLATFORM_API OSBSceneFileType : public SceneFileType
{
public:
    static OSBSceneFileType& the();

    const Char8* getName() const override;
    ~OSBSceneFileType() override;

    /// A file that is cut or damaged gives null and one line in the log that names file, byte and reason.
    ///
    /// Containers of unknown types are replaced (a node by a node, a core by a group, a material by an empty
    /// one) or left out, unknown fields are skipped; what was lost is logged once for each type. Of a
    /// container listed as child of several nodes the last one keeps it. References that would close a circle
    /// are cut. Handles that do not count as references (a light's beacon) do not count after reading either,
    /// and are null if nothing else holds their target.
    NodePtr read(std::istream& in, const Char8* fileNameOrExtension) const override;
    /// Equal graphs give equal bytes. Handles that do not count as references are written only if their
    /// target is part of what is written. False if the stream fails.
    bool write(const NodePtr& node, std::ostream& out, const Char8* fileNameOrExtension) const override;

protected:
    OSBSceneFileType(const Char8* suffixArray[], UInt16 suffixByteCount, bool override,
                     UInt32 overridePriority, UInt32 flags);

private:
    static const Char8* _suffixA[];
    static OSBSceneFileType _the;
};

OSG_END_NAMESPACE
