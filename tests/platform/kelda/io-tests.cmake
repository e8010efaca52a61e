# Scene files: both forms, saving, importing. Included by this folder's CMakeLists.txt.
find_package(rapidcheck REQUIRED)
find_package(assimp REQUIRED)

zy_add_test(keldaSceneFormsTest SOURCES sceneFormsTest.cpp nurbsFormsTest.cpp LIBS Kelda::Kelda rapidcheck TIMEOUT 900)
zy_add_test(keldaFileIOTest SOURCES fileIOTest.cpp lightsAndCurvesFormsTest.cpp LIBS Kelda::Kelda)
zy_add_test(keldaForeignImportTest SOURCES foreignImportTest.cpp LIBS Kelda::Kelda modelTestSupport assimp::assimp
  TIMEOUT 900)
if(TARGET keldaSceneFormsTest)
  target_compile_definitions(keldaSceneFormsTest PRIVATE
    ZY_DOCS_DIR="${PROJECT_SOURCE_DIR}/docs"
    ZY_GOLDEN_DIR="${CMAKE_CURRENT_SOURCE_DIR}/golden")
  target_compile_definitions(keldaForeignImportTest PRIVATE ZY_MODELS_DIR="${PROJECT_SOURCE_DIR}/../shared/models")
  target_compile_definitions(keldaFileIOTest PRIVATE ZY_GOLDEN_DIR="${CMAKE_CURRENT_SOURCE_DIR}/golden")
endif()
