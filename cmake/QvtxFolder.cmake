# qvtx_warnings(target): the warnings that both compilers pass without a word.
function(qvtx_warnings target)
  target_compile_options(${target} PRIVATE -Wall -Wextra -Wpedantic -Wconversion -Wshadow)
  if(QVTX_WERROR)
    target_compile_options(${target} PRIVATE -Werror)
  endif()
endfunction()

# qvtx_folder(name [lower]): the library of src/<name>, which may use the folder `lower` and what that one uses.
#
# A source called *_kernels.cpp holds hot loops. It is compiled once per instruction set, each time into a namespace
# of its own (the macro QVTX_ISA), and the program picks one of them at run time (base/kernel_choice.h). Such a source
# must not use inline functions of the standard library: the linker could keep the copy that the narrower machine cannot
# run. The test kernel_symbols looks for such functions.
function(qvtx_folder name)
  file(GLOB_RECURSE sources CONFIGURE_DEPENDS ${PROJECT_SOURCE_DIR}/src/${name}/*.cpp)
  set(kernels ${sources})
  list(FILTER sources EXCLUDE REGEX "_kernels\\.cpp$")
  list(FILTER kernels INCLUDE REGEX "_kernels\\.cpp$")
  if(NOT sources)
    return()
  endif()
  add_library(qvtx_${name} STATIC ${sources})
  target_include_directories(qvtx_${name} PUBLIC ${PROJECT_SOURCE_DIR}/src)
  qvtx_warnings(qvtx_${name})
  set_property(GLOBAL APPEND PROPERTY QVTX_OBJECTS $<TARGET_OBJECTS:qvtx_${name}>)
  foreach(lower ${ARGN})
    target_link_libraries(qvtx_${name} PUBLIC qvtx_${lower})
  endforeach()
  if(kernels)
    set(isas baseline)
    if(CMAKE_SYSTEM_PROCESSOR MATCHES "x86_64|AMD64")
      list(APPEND isas avx2 avx512)
      set(flags_avx2 -mavx2)
      set(flags_avx512 -mavx512f -mavx512dq -mavx512bw -mavx512vl -mprefer-vector-width=512)
    endif()
    foreach(isa ${isas})
      add_library(qvtx_${name}_${isa} OBJECT ${kernels})
      target_include_directories(qvtx_${name}_${isa} PRIVATE ${PROJECT_SOURCE_DIR}/src)
      target_compile_definitions(qvtx_${name}_${isa} PRIVATE QVTX_ISA=${isa})
      target_compile_options(qvtx_${name}_${isa} PRIVATE ${flags_${isa}})
      # Kernels call alike what is alike, and each checks alone.
      set_target_properties(qvtx_${name}_${isa} PROPERTIES UNITY_BUILD OFF)
      qvtx_warnings(qvtx_${name}_${isa})
      target_sources(qvtx_${name} PRIVATE $<TARGET_OBJECTS:qvtx_${name}_${isa}>)
      set_property(GLOBAL APPEND PROPERTY QVTX_OBJECTS $<TARGET_OBJECTS:qvtx_${name}_${isa}>)
    endforeach()
  endif()
endfunction()
