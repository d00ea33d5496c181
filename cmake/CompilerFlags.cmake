# Warnings and hardening, for everything that is built here.
add_compile_options(-Wall -Wextra -Wshadow)

# VEXO_SANITIZE_FLAGS: for whoever compiles and links outside of this build as well.
if(VEXO_SANITIZE)
  set(VEXO_SANITIZE_FLAGS -fsanitize=address,undefined)
  if(CMAKE_CXX_COMPILER_ID STREQUAL Clang)
    # A shared library is linked with every symbol resolved, so the runtime is one too.
    execute_process(COMMAND ${CMAKE_CXX_COMPILER} -print-runtime-dir
                    OUTPUT_VARIABLE runtime OUTPUT_STRIP_TRAILING_WHITESPACE)
    list(APPEND VEXO_SANITIZE_FLAGS -shared-libasan -Wl,-rpath,${runtime})
  endif()
  add_compile_options(-fsanitize=address,undefined -fno-sanitize-recover=all
                      -fno-omit-frame-pointer)
  add_link_options(${VEXO_SANITIZE_FLAGS})
else()
  add_compile_options(-fstack-protector-strong $<$<CONFIG:Release>:-D_FORTIFY_SOURCE=2>)
endif()
add_link_options(LINKER:-z,relro LINKER:-z,now)
