zy_add_fuzzer(ka_fuzz SOURCES ka_fuzz.cpp CORPUS corpus/ka LIBS Kelda::Kelda)
