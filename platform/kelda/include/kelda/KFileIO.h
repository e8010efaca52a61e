#pragma once

#include "kelda/KApi.h"
#include "kelda/KStatus.h"
#include "kelda/KString.h"
#include "kelda/KStringArray.h"

/// The scene as a file.
///
/// A call that fails shows one line through KGlobal::displayError: the file, the place in it where there is
/// one, and the reason. File names that are not absolute are taken from the process's current directory.
class KELDA_API KFileIO
{
public:
    /// How references to other files are loaded. Scenes of this SDK hold none; there is one way.
    enum ReferenceMode { kLoadDefault = 0 };

    /// Empties the scene; default nodes remain. There is nothing that could keep it from being done, so
    /// `force` changes nothing.
    static KStatus newFile(bool force = false);

    /// Opens a scene in the place of the present one. Whether it is of the form "keldaAscii" or "keldaBinary"
    /// is told by the content, whatever the name; `type` (null: either) must agree with it. A name with
    /// backslashes that names no file is tried again with slashes in their place. After a failure the scene
    /// is empty.
    ///
    /// Node types and attributes that a newer version knows are left out with a warning for each kind;
    /// `ignoreVersion` changes nothing about that.
    static KStatus open(const KString& file, const char* type = nullptr, bool force = false,
                        ReferenceMode mode = kLoadDefault, bool ignoreVersion = false);

    /// Adds what a file holds to the scene: a scene of either form (told by the content), or a file of
    /// another format, told by its suffix (obj, ply, stl, gltf, glb, ...). Names that are taken are made
    /// unique. The working unit and the values of default nodes stay as they are. After a failure the scene
    /// is what it was.
    ///
    /// From other formats come: transforms; polygon meshes with normals and UV sets ("map1", "uvSet1", ...),
    /// one shape for each mesh however many nodes use it; for each material a shading group and a shader
    /// (phong with a highlight, otherwise lambert), with a file texture, its placement and, where it is not
    /// the first, its UV set for the colour. Numbers are taken as centimetres. Points and lines are left out.
    ///
    /// Names of textures that stand beside the imported file become full paths, unless they stand beside the
    /// scene's file as well. Images embedded in a file are unpacked into a folder of the SDK's own, which
    /// goes when the scene is cleared.
    ///
    /// A namespace (null or empty: none) is refused with kInvalidParameter: names here have none.
    static KStatus import(const KString& file, const char* type = nullptr, bool preserveReferences = false,
                          const char* nameSpace = nullptr);

    /// Whether import() has a reader for files with this suffix: "obj", ".GLB", also "ka" and "kb". The
    /// content still decides what a file is. Can be asked before KLibrary::initialize().
    static bool isImportable(const KString& suffix);
    /// All suffixes that are importable: small letters, without dots, sorted. Can be asked before
    /// KLibrary::initialize().
    static void importableSuffixes(KStringArray& suffixes);

    /// Saves the scene. `type`: "keldaAscii", "keldaBinary", or null: by the suffix, "ka" or "kb" in any
    /// letter case. An existing file is replaced, with and without `force`, when the new one is complete and
    /// on the disk; or else it stays as it is.
    static KStatus saveAs(const KString& file, const char* type = nullptr, bool force = false);
};
