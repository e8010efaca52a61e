zy_add_fuzzer(kb_fuzz SOURCES kb_fuzz.cpp CORPUS corpus/kb LIBS Kelda::Kelda)
