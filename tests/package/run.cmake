# Installs the build in BUILD beside it and builds and runs the project in SOURCE against it.
set(work ${BUILD}/package-test)
file(REMOVE_RECURSE ${work})
foreach(step "${CMAKE_COMMAND};--install;${BUILD};--prefix;${work}/prefix"
        "${CMAKE_COMMAND};-S;${SOURCE};-B;${work}/build;-DCMAKE_PREFIX_PATH=${work}/prefix;-DCMAKE_CXX_COMPILER=${COMPILER}"
        "${CMAKE_COMMAND};--build;${work}/build" "${work}/build/consumer" "${work}/prefix/bin/qvtx;--version")
  execute_process(COMMAND ${step} RESULT_VARIABLE failed OUTPUT_VARIABLE out ERROR_VARIABLE out)
  if(failed)
    message(FATAL_ERROR "${step}\n${out}")
  endif()
endforeach()
