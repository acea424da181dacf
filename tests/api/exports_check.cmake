# The shared library exports exactly the names of the Windows module's
# definition (src/exports/NadiroUser.def) plus the POSIX-only platform
# functions and those of the other public headers beside nadiro.h (the
# convenience layer's, each declared on a line starting NADIRO_API): an
# export added on one side only is caught here.
#   cmake -DNM=nm -DMODULE=libNadiroUser.so -DDEF=NadiroUser.def
#         -DHEADERS=include/nadiro -P exports_check.cmake
set(posix_only NadiroGlobalAlloc NadiroGlobalLock NadiroGlobalUnlock NadiroGlobalSize
    NadiroGlobalFree NadiroSetProgressHook)

include(${CMAKE_CURRENT_LIST_DIR}/../../cmake/NadiroExports.cmake)
nadiro_read_def_exports(${DEF} listed)
list(APPEND listed ${posix_only})
file(GLOB headers ${HEADERS}/*.h)
list(FILTER headers EXCLUDE REGEX "/nadiro\\.h$")
foreach(header IN LISTS headers)
  file(STRINGS ${header} declared REGEX "^NADIRO_API ")
  foreach(line IN LISTS declared)
    string(REGEX MATCH "([A-Za-z_][A-Za-z0-9_]*)\\(" name "${line}")
    list(APPEND listed ${CMAKE_MATCH_1})
  endforeach()
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
