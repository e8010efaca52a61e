zy_add_fuzzer(command_fuzz SOURCES command_fuzz.cpp CORPUS corpus/command LIBS Kelda)
