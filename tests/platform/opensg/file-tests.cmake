find_package(rapidcheck REQUIRED)

zy_add_test(opensg_math_test SOURCES math_test.cpp LIBS OpenSG::OpenSG)
zy_add_test(opensg_scenefile_test SOURCES environment.cpp path_handler_test.cpp scene_file_handler_test.cpp
            LIBS OpenSG::OpenSG)

zy_add_test(opensg_osb_test SOURCES environment.cpp osb_bytes.cpp osb_test.cpp osb_sample_test.cpp osb_damage_test.cpp osb_images_test.cpp
            osb_roundtrip_test.cpp osb_surface_test.cpp LIBS OpenSG::OpenSG rapidcheck)
if(TARGET opensg_osb_test)
  target_compile_definitions(opensg_osb_test PRIVATE ZY_OSB_SAMPLES="${PROJECT_SOURCE_DIR}/../shared/samples/osb")
endif()
