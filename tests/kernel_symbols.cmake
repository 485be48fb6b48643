# Fails when an object of the kernels defines a weak function that other objects could share:
#   cmake -D NM=nm -D "OBJECTS=a.o;b.o" -P kernel_symbols.cmake
# The linker keeps one copy of a weak function, and it may be the one compiled for AVX: a narrower machine would
# run it, too, and stop. A name that holds the namespace of an instruction set, be it in a template argument, has
# no namesake in other objects. Weak data hold no instructions.
foreach(object ${OBJECTS})
  execute_process(COMMAND ${NM} -C ${object} OUTPUT_VARIABLE symbols RESULT_VARIABLE result)
  string(REGEX MATCH "qvtx_[a-z]+_(avx2|avx512)" folder ${object})
  set(own "qvtx::${CMAKE_MATCH_1}::")
  if(NOT result EQUAL 0 OR NOT symbols MATCHES " [A-Za-z] ${own}[a-z_]+_kernels")
    message(SEND_ERROR "${object}: no table of kernels in ${own}")
  endif()
  string(REGEX MATCHALL "[0-9a-f]+ W [^\n]+" weak "${symbols}")
  foreach(line IN LISTS weak)
    string(FIND "${line}" "${own}" place)
    if(place EQUAL -1)
      string(REGEX REPLACE "^[0-9a-f]+ W " "" name "${line}")
      message(SEND_ERROR "${object} defines a function that others may share: ${name}")
    endif()
  endforeach()
endforeach()
if(NOT OBJECTS)
  message(SEND_ERROR "no object to look at")
endif()
