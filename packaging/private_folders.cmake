# Makes the private folders, and that of the cache; only root can give them to the system
# account.
execute_process(COMMAND id -u OUTPUT_VARIABLE uid OUTPUT_STRIP_TRAILING_WHITESPACE)
if(uid EQUAL 0)
  set(owner -o 1 -g 1)
else()
  message(STATUS "Not root: the private folders stay your own; give them to uid 1 gid 1")
endif()
function(make_folder mode folder)
  message(STATUS "Installing: $ENV{DESTDIR}${folder}")
  execute_process(COMMAND install -d -m ${mode} ${owner} "$ENV{DESTDIR}${folder}"
                  COMMAND_ERROR_IS_FATAL ANY)
endfunction()
foreach(folder IN LISTS private_folders)
  make_folder(0750 ${folder})
endforeach()
make_folder(0700 ${cache_folder})
