# What cmake --install puts where, and the Debian package that cpack makes of it.
include(GNUInstallDirs)
include(CMakePackageConfigHelpers)
set(CMAKE_INSTALL_DOCDIR ${CMAKE_INSTALL_DATAROOTDIR}/doc/raytracer)

# Programs, scenes, documents. The documents lie to each other as they do here, so that their links hold.
install(TARGETS RayTracer ${RT_TOOL_PROGRAMS} RUNTIME)
install(FILES ${PROJECT_BINARY_DIR}/RayTracer TYPE BIN)  # the link to RayTracer.exe
install(PROGRAMS ${PROJECT_BINARY_DIR}/rt-bundle TYPE BIN)
install(DIRECTORY Scenes DESTINATION ${CMAKE_INSTALL_DATADIR}/raytracer)
install(FILES README.md CHANGELOG.md CONTRIBUTING.md DESTINATION ${CMAKE_INSTALL_DOCDIR})
install(DIRECTORY docs examples deploy DESTINATION ${CMAKE_INSTALL_DOCDIR})

# The library, for find_package(RayTracer): its public headers and nothing of its inside.
install(TARGETS rt_core EXPORT RayTracerTargets ARCHIVE)
install(DIRECTORY include/raytracer ${PROJECT_BINARY_DIR}/include/raytracer DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}
        FILES_MATCHING PATTERN "*.h")
set(szPackage ${CMAKE_INSTALL_LIBDIR}/cmake/RayTracer)
install(EXPORT RayTracerTargets NAMESPACE RayTracer:: DESTINATION ${szPackage})
configure_package_config_file(cmake/RayTracerConfig.cmake.in RayTracerConfig.cmake INSTALL_DESTINATION ${szPackage})
write_basic_package_version_file(RayTracerConfigVersion.cmake COMPATIBILITY SameMinorVersion)
install(FILES ${PROJECT_BINARY_DIR}/RayTracerConfig.cmake ${PROJECT_BINARY_DIR}/RayTracerConfigVersion.cmake
        DESTINATION ${szPackage})

# Manual pages and Debian's two files, packed as Debian wants them.
find_program(GZIP gzip REQUIRED)
function(rt_install_packed szSource szName szDirectory)
  configure_file(${szSource} ${PROJECT_BINARY_DIR}/packed/${szName} @ONLY)
  add_custom_command(OUTPUT packed/${szName}.gz DEPENDS ${PROJECT_BINARY_DIR}/packed/${szName}
                     COMMAND ${GZIP} -9nkf packed/${szName} WORKING_DIRECTORY ${PROJECT_BINARY_DIR})
  set_property(GLOBAL APPEND PROPERTY RT_PACKED ${PROJECT_BINARY_DIR}/packed/${szName}.gz)
  install(FILES ${PROJECT_BINARY_DIR}/packed/${szName}.gz DESTINATION ${szDirectory})
endfunction()
set(szManual ${CMAKE_INSTALL_MANDIR}/man1)
foreach(szProgram RayTracer rt-bundle ${RT_TOOL_PROGRAMS})
  rt_install_packed(man/${szProgram}.1 ${szProgram}.1 ${szManual})
endforeach()
file(CREATE_LINK RayTracer.1.gz ${PROJECT_BINARY_DIR}/packed/RayTracer.exe.1.gz SYMBOLIC)
install(FILES ${PROJECT_BINARY_DIR}/packed/RayTracer.exe.1.gz DESTINATION ${szManual})
rt_install_packed(packaging/changelog changelog ${CMAKE_INSTALL_DOCDIR})
install(FILES packaging/copyright DESTINATION ${CMAKE_INSTALL_DOCDIR})
get_property(vPacked GLOBAL PROPERTY RT_PACKED)
add_custom_target(manual ALL DEPENDS ${vPacked})

# One file completes all programs; bash looks for it under the name of each.
set(szCompletions ${CMAKE_INSTALL_DATADIR}/bash-completion/completions)
install(FILES completions/RayTracer DESTINATION ${szCompletions})
foreach(szProgram RayTracer.exe rt-bundle ${RT_TOOL_PROGRAMS})
  file(MAKE_DIRECTORY ${PROJECT_BINARY_DIR}/completions)
  file(CREATE_LINK RayTracer ${PROJECT_BINARY_DIR}/completions/${szProgram} SYMBOLIC)
  install(FILES ${PROJECT_BINARY_DIR}/completions/${szProgram} DESTINATION ${szCompletions})
endforeach()

set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME raytracer)
set(CPACK_PACKAGE_CONTACT "The RayTracer developers <raytracer@packages.debian.org>")
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "ray tracer for triangle meshes with a render farm")
set(CPACK_PACKAGE_DESCRIPTION "Renders scenes and model files of triangles with
mirrors, glass, smooth shading and a procedural brick wall: on one core, on
all cores, or on many machines through its own server and clients. The
picture is the same to the byte on each. Brings a library of ray queries for
programs that link it.")
set(CPACK_STRIP_FILES ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SECTION graphics)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_INSTALL_DEFAULT_DIRECTORY_PERMISSIONS OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE
    WORLD_READ WORLD_EXECUTE)
include(CPack)
