# cmake -DINPUT=FILE -DOUTPUT=FILE -P embed.cmake: the bytes of INPUT as the elements of a C++ array.
file(READ ${INPUT} bytes HEX)
string(REGEX REPLACE "([0-9a-f][0-9a-f])" "0x\\1," bytes "${bytes}")
string(REGEX REPLACE "(................................................................................)" "\\1\n" bytes "${bytes}")
file(WRITE ${OUTPUT} "${bytes}\n")
