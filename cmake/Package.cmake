# What is installed beside the program and the library, and the Debian package of it all (target `package`).
include(CMakePackageConfigHelpers)

# Until 1.0 the library may change with the second number.
write_basic_package_version_file(generated/qvtxConfigVersion.cmake COMPATIBILITY SameMinorVersion)
install(FILES ${PROJECT_BINARY_DIR}/generated/qvtxConfigVersion.cmake DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/qvtx)

configure_file(docs/qvtx.1.in generated/qvtx.1 @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/generated/qvtx.1 DESTINATION ${CMAKE_INSTALL_MANDIR}/man1)

# The documents keep their places among each other, so that their links hold.
install(FILES README.md CHANGELOG.md DESTINATION ${CMAKE_INSTALL_DOCDIR})
foreach(folder docs examples)
  install(DIRECTORY ${folder} DESTINATION ${CMAKE_INSTALL_DOCDIR} PATTERN "results/*" EXCLUDE PATTERN "*.in" EXCLUDE)
endforeach()
foreach(folder bench python)
  install(FILES ${folder}/README.md DESTINATION ${CMAKE_INSTALL_DOCDIR}/${folder})
endforeach()

set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_CONTACT "the qvtx developers")
set(CPACK_STRIP_FILES ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SECTION science)
set(CPACK_DEBIAN_PACKAGE_SUGGESTS "gnuplot-nox | gnuplot, python3-numpy")
find_program(QVTX_SHLIBDEPS dpkg-shlibdeps)
if(QVTX_SHLIBDEPS)
  set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
else()
  set(CPACK_DEBIAN_PACKAGE_DEPENDS "libc6, libgcc-s1, libstdc++6")
endif()
include(CPack)
