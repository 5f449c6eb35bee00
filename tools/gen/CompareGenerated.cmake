# Runs a generator into OUT and checks that OUT has the bytes of COMMITTED.
# cmake -DGENERATOR=... -DSOFA=... -DOUT=... -DCOMMITTED=... -DREGENERATE=target -P CompareGenerated.cmake
execute_process(COMMAND ${GENERATOR} ${SOFA} ${OUT} RESULT_VARIABLE result)
if(NOT result EQUAL 0)
  message(FATAL_ERROR "${GENERATOR} failed (${result})")
endif()
execute_process(COMMAND ${CMAKE_COMMAND} -E compare_files ${OUT} ${COMMITTED} RESULT_VARIABLE different)
if(different)
  message(FATAL_ERROR "${COMMITTED} is not what the generator writes now (${OUT}); "
                      "regenerate it with the target ${REGENERATE}, or find what changed")
endif()
message(STATUS "${COMMITTED}: the generator writes the same bytes")
