# Fails unless the module's dynamic symbol table defines exactly the ten entry
# points among its functions.
execute_process(COMMAND nm -D --defined-only ${MODULE} OUTPUT_VARIABLE symbols RESULT_VARIABLE rc)
if(NOT rc EQUAL 0)
  message(FATAL_ERROR "nm failed on ${MODULE}")
endif()
string(REGEX MATCHALL "[0-9a-fA-F]+ [TtWwi] [^\n]+" functions "${symbols}")
set(names)
foreach(line IN LISTS functions)
  string(REGEX REPLACE "^[0-9a-fA-F]+ [TtWwi] " "" name "${line}")
  list(APPEND names ${name})
endforeach()
list(SORT names)
set(expected CleanupModule CreateSensorInstance DestroySensorInstance ExecuteCheck ExecuteMetaScan
             ExecuteSensorScan GetApiLevel GetModuleInformation GetModuleInformationSync InitializeModule)
if(NOT names STREQUAL expected)
  message(FATAL_ERROR "exported functions are:\n  ${names}\nexpected exactly:\n  ${expected}")
endif()
message(STATUS "exactly the ten entry points are exported")
