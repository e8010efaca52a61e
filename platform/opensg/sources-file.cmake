# Log, volumes, scene files.
set(zyOpenSGFileSources
  src/OSGLog.cpp
  src/OSGVolume.cpp
  src/OSGGraphOp.cpp
  src/OSGPathHandler.cpp
  src/OSGSceneFileType.cpp
  src/OSGSceneFileHandler.cpp
  src/OSGOsbFormat.cpp
  src/OSGOsbReader.cpp
  src/OSGOsbWriter.cpp
  src/OSGOSBSceneFileType.cpp)
