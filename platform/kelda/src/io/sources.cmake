# Scene files: what platform/kelda/CMakeLists.txt builds from src/io, and what that needs.
find_package(assimp REQUIRED)
find_package(PkgConfig REQUIRED)
pkg_check_modules(XXHASH REQUIRED IMPORTED_TARGET libxxhash)

set(keldaIoSources
  src/io/AsciiReader.cpp
  src/io/AsciiWriter.cpp
  src/io/BinaryReader.cpp
  src/io/BinaryWriter.cpp
  src/io/FileIO.cpp
  src/io/ForeignImport.cpp
  src/io/ForeignTree.cpp
  src/io/ImageFolder.cpp
  src/io/SafeFile.cpp
  src/io/SceneBuilder.cpp
  src/io/SceneWalk.cpp
)
set(keldaIoLibraries assimp::assimp PkgConfig::XXHASH)
