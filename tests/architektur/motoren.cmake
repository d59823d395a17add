# cmake -DPROGRAMM=... -DOBJDUMP=... -DNM=... -P motoren.cmake: fails when the program itself binds a library that parses
# PDFs or pictures or recognises text. Those belong into the locked-up reader alone; what the toolkit loads on its own
# account is not looked at.
cmake_minimum_required(VERSION 3.25)

execute_process(COMMAND "${OBJDUMP}" -p "${PROGRAMM}" OUTPUT_VARIABLE koepfe COMMAND_ERROR_IS_FATAL ANY)
string(REGEX MATCHALL "NEEDED +[^\n]+" gebunden "${koepfe}")
if(NOT gebunden MATCHES "libc\\.so")
  message(FATAL_ERROR "${PROGRAMM}: no list of libraries to look at")
endif()
list(TRANSFORM gebunden REPLACE "NEEDED +" "")
list(FILTER gebunden INCLUDE REGEX
  "mupdf|mujs|gumbo|poppler|pdfium|tesseract|lept|heif|de265|avif|dav1d|x265|jpeg|png|tiff|webp|openjp2|jbig2dec|exif|gif|pixbuf")

# Where MuPDF is a static library it is in no such list, but its functions have names.
execute_process(COMMAND "${NM}" --defined-only "${PROGRAMM}" OUTPUT_VARIABLE namen COMMAND_ERROR_IS_FATAL ANY)
if(NOT namen MATCHES " T main\n")
  message(FATAL_ERROR "${PROGRAMM}: no names of functions to look at")
endif()
string(REGEX MATCH " fz_open_document[a-z_]*" mupdf "${namen}")
string(STRIP "${mupdf}" mupdf)

if(gebunden OR mupdf)
  message(FATAL_ERROR "${PROGRAMM} binds: ${gebunden} ${mupdf}")
endif()
