# Strips a copy of the library with the target's strip and fails when it is larger than
# the ceiling: the module ships in the phone's flash beside everything else.
get_filename_component(name ${LIBRARY} NAME)
set(stripped ${CMAKE_CURRENT_BINARY_DIR}/${name}.stripped)
execute_process(COMMAND ${STRIP} -s -o ${stripped} ${LIBRARY} RESULT_VARIABLE rc)
if(NOT rc EQUAL 0)
  message(FATAL_ERROR "${STRIP} failed on ${LIBRARY}")
endif()
file(SIZE ${stripped} size)
message("stripped ${name}: ${size} bytes (ceiling ${CEILING})")
if(size GREATER CEILING)
  message(FATAL_ERROR "stripped ${name} is ${size} bytes, over its ceiling of ${CEILING}")
endif()
