zy_add_fuzzer(osb_fuzz SOURCES osb_fuzz.cpp CORPUS corpus/osb LIBS OpenSG::OpenSG)
