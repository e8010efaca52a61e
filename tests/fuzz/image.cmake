zy_add_fuzzer(image_fuzz SOURCES image_fuzz.cpp CORPUS corpus/image LIBS OpenSG::OpenSG)
