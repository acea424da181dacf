# The shared library exports exactly the names of the Windows module's
# definition (src/exports/NadiroUser.def) plus the POSIX-only platform
# functions: an export added on one side only is caught here.
#   cmake -DNM=nm -DMODULE=libNadiroUser.so -DDEF=NadiroUser.def -P exports_check.cmake
set(posix_only NadiroGlobalAlloc NadiroGlobalLock NadiroGlobalUnlock NadiroGlobalSize
    NadiroGlobalFree NadiroSetProgressHook)

file(STRINGS ${DEF} def_lines)
set(listed ${posix_only})
set(in_exports FALSE)
foreach(line IN LISTS def_lines)
  string(STRIP "${line}" line)
  if(line STREQUAL "" OR line MATCHES "^;")
    continue()
  elseif(line STREQUAL "EXPORTS")
    set(in_exports TRUE)
  elseif(in_exports)
    string(REGEX REPLACE "@[0-9]+$" "" name "${line}")
    list(APPEND listed ${name})
  endif()
endforeach()

execute_process(COMMAND ${NM} -D --defined-only ${MODULE} OUTPUT_VARIABLE symbols
                RESULT_VARIABLE status)
if(NOT status EQUAL 0)
  message(FATAL_ERROR "nm failed on ${MODULE}")
endif()
string(REGEX MATCHALL "[0-9a-f]+ [TD] [A-Za-z_][A-Za-z0-9_]*" entries "${symbols}")
set(exported)
foreach(entry IN LISTS entries)
  string(REGEX REPLACE "^[0-9a-f]+ [TD] " "" name "${entry}")
  # Runtime support symbols of the toolchain are not the library's.
  if(NOT name MATCHES "^_")
    list(APPEND exported ${name})
  endif()
endforeach()

list(SORT listed)
list(SORT exported)
if(NOT listed STREQUAL exported)
  set(missing ${listed})
  list(REMOVE_ITEM missing ${exported})
  set(extra ${exported})
  list(REMOVE_ITEM extra ${listed})
  message(FATAL_ERROR "exports differ\n  listed but not exported: ${missing}\n"
                      "  exported but not listed: ${extra}")
endif()
list(LENGTH exported count)
message(STATUS "${count} exports match the definition")
