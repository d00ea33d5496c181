# Writes the templates, the style and the script of the pages as a C++ source:
#   cmake -D FOLDER=... -D OUTPUT=... -P embed.cmake
set(text "#include \"web/pages/templates.h\"\n\n#include \"web/pages/pages.h\"\n\nnamespace web {\n\n")
foreach(name Page Header Login Open Folder Grid File Drop Message Early)
  string(TOLOWER ${name} file)
  file(READ ${FOLDER}/${file}.mustache content)
  string(APPEND text "const char* const k${name}Template = R\"__(${content})__\";\n")
endforeach()

# A browser computes the hash of the text between the tags.
foreach(name Style.css Copy.js)
  string(TOLOWER ${name} file)
  cmake_path(GET name STEM stem)
  file(READ ${FOLDER}/${file} content)
  execute_process(
    COMMAND ${OPENSSL} dgst -sha256 -binary ${FOLDER}/${file}
    COMMAND ${OPENSSL} base64 -A
    OUTPUT_VARIABLE hash COMMAND_ERROR_IS_FATAL ANY)
  string(APPEND text "const char* const k${stem} = R\"__(${content})__\";\n"
                     "const char* const k${stem}Hash = \"'sha256-${hash}'\";\n")
endforeach()
string(APPEND text "\n}  // namespace web\n")
file(WRITE ${OUTPUT} "${text}")
