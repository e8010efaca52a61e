# Log, volumes, scene files.
set(zyOpenSGFileSources
  src/OSGLog.cpp
  src/OSGVolume.cpp
  src/OSGGraphOp.cpp
  src/OSGImageFileHandler.cpp
  src/OSGBMPImageFormat.cpp
  src/OSGJPGImageFormat.cpp
  src/OSGPNGImageFormat.cpp
  src/OSGTGAImageFormat.cpp
  src/OSGTIFImageFormat.cpp
  src/OSGPathHandler.cpp
  src/OSGSceneFileType.cpp
  src/OSGSceneFileHandler.cpp
  src/OSGOsbFormat.cpp
  src/OSGOsbReader.cpp
  src/OSGOsbWriter.cpp
  src/OSGOSBSceneFileType.cpp)
