# Writes the templates and the style of the pages as a C++ source:
#   cmake -D FOLDER=... -D OUTPUT=... -P embed.cmake
set(text "#include \"web/pages/templates.h\"\n\n#include \"web/pages/pages.h\"\n\nnamespace web {\n\n")
foreach(name Page Header Login Open Folder Grid File Drop Message)
  string(TOLOWER ${name} file)
  file(READ ${FOLDER}/${file}.mustache content)
  string(APPEND text "const char* const k${name}Template = R\"__(${content})__\";\n")
endforeach()

# A browser computes the hash of the text between the tags.
file(READ ${FOLDER}/style.css content)
execute_process(
  COMMAND ${OPENSSL} dgst -sha256 -binary ${FOLDER}/style.css
  COMMAND ${OPENSSL} base64 -A
  OUTPUT_VARIABLE hash COMMAND_ERROR_IS_FATAL ANY)
string(APPEND text "const char* const kStyle = R\"__(${content})__\";\n"
                   "const char* const kStyleHash = \"'sha256-${hash}'\";\n\n}  // namespace web\n")
file(WRITE ${OUTPUT} "${text}")
