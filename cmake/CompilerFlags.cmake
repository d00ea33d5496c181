# Warnings and hardening, for everything that is built here.
add_compile_options(-Wall -Wextra -Wshadow)

if(VEXO_SANITIZE)
  add_compile_options(-fsanitize=address,undefined -fno-sanitize-recover=all
                      -fno-omit-frame-pointer)
  add_link_options(-fsanitize=address,undefined)
else()
  add_compile_options(-fstack-protector-strong $<$<CONFIG:Release>:-D_FORTIFY_SOURCE=2>)
endif()
add_link_options(LINKER:-z,relro LINKER:-z,now)
