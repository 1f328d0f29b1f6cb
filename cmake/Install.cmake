# What cmake --install puts where, and what cpack makes of it: Debian packages, or an archive of static programs.
include(GNUInstallDirs)
include(CMakePackageConfigHelpers)
set(CMAKE_INSTALL_DOCDIR ${CMAKE_INSTALL_DATAROOTDIR}/doc/raytracer)

# Programs, scenes, documents. The documents lie to each other as they do here, so that their links hold.
install(TARGETS RayTracer ${RT_TOOL_PROGRAMS} RUNTIME)
install(FILES ${PROJECT_BINARY_DIR}/RayTracer TYPE BIN)  # the link to RayTracer.exe
install(PROGRAMS ${PROJECT_BINARY_DIR}/rt-bundle TYPE BIN)
if(TARGET rt_import)  # file managers show models by it
  install(FILES packaging/raytracer.thumbnailer DESTINATION ${CMAKE_INSTALL_DATADIR}/thumbnailers)
  install(FILES packaging/raytracer-models.xml DESTINATION ${CMAKE_INSTALL_DATADIR}/mime/packages)
endif()
install(DIRECTORY Scenes DESTINATION ${CMAKE_INSTALL_DATADIR}/raytracer)
install(FILES README.md CHANGELOG.md CONTRIBUTING.md DESTINATION ${CMAKE_INSTALL_DOCDIR})
install(DIRECTORY docs examples deploy DESTINATION ${CMAKE_INSTALL_DOCDIR})

# The library, for find_package(RayTracer): its public headers and nothing of its inside.
if(NOT RT_STATIC)
  install(TARGETS rt_core EXPORT RayTracerTargets ARCHIVE)
  install(DIRECTORY include/raytracer ${PROJECT_BINARY_DIR}/include/raytracer DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}
          FILES_MATCHING PATTERN "*.h")
  set(szPackage ${CMAKE_INSTALL_LIBDIR}/cmake/RayTracer)
  install(EXPORT RayTracerTargets NAMESPACE RayTracer:: DESTINATION ${szPackage})
  configure_package_config_file(cmake/RayTracerConfig.cmake.in RayTracerConfig.cmake INSTALL_DESTINATION ${szPackage})
  write_basic_package_version_file(RayTracerConfigVersion.cmake COMPATIBILITY SameMinorVersion)
  install(FILES ${PROJECT_BINARY_DIR}/RayTracerConfig.cmake ${PROJECT_BINARY_DIR}/RayTracerConfigVersion.cmake
          DESTINATION ${szPackage})
endif()

# Manual pages and completions are made of templates and the programs' tables of options.
set(vPages)
function(rt_make_page szTemplate szPage)
  add_custom_command(OUTPUT pages/${szPage} DEPENDS rt-pages ${PROJECT_SOURCE_DIR}/${szTemplate}
                     COMMAND ${CMAKE_CROSSCOMPILING_EMULATOR} $<TARGET_FILE:rt-pages> ${PROJECT_SOURCE_DIR}/${szTemplate}
                             pages/${szPage}
                     WORKING_DIRECTORY ${PROJECT_BINARY_DIR})
  set(vPages ${vPages} ${PROJECT_BINARY_DIR}/pages/${szPage} PARENT_SCOPE)
endfunction()

# Manual pages and Debian's changelog, packed as Debian wants them.
find_program(GZIP gzip REQUIRED)
function(rt_install_packed szSource szDirectory)
  get_filename_component(szName ${szSource} NAME)
  add_custom_command(OUTPUT pages/${szName}.gz DEPENDS ${szSource}
                     COMMAND ${GZIP} -9nc ${szSource} >pages/${szName}.gz WORKING_DIRECTORY ${PROJECT_BINARY_DIR})
  set(vPages ${vPages} ${PROJECT_BINARY_DIR}/pages/${szName}.gz PARENT_SCOPE)
  install(FILES ${PROJECT_BINARY_DIR}/pages/${szName}.gz DESTINATION ${szDirectory})
endfunction()
set(szManual ${CMAKE_INSTALL_MANDIR}/man1)
file(MAKE_DIRECTORY ${PROJECT_BINARY_DIR}/pages ${PROJECT_BINARY_DIR}/completions)
foreach(szProgram RayTracer rt-bundle ${RT_TOOL_PROGRAMS})
  rt_make_page(man/${szProgram}.1.in ${szProgram}.1)
  rt_install_packed(${PROJECT_BINARY_DIR}/pages/${szProgram}.1 ${szManual})
endforeach()
file(CREATE_LINK RayTracer.1.gz ${PROJECT_BINARY_DIR}/pages/RayTracer.exe.1.gz SYMBOLIC)
install(FILES ${PROJECT_BINARY_DIR}/pages/RayTracer.exe.1.gz DESTINATION ${szManual})
configure_file(packaging/changelog ${PROJECT_BINARY_DIR}/pages/changelog @ONLY)
rt_install_packed(${PROJECT_BINARY_DIR}/pages/changelog ${CMAKE_INSTALL_DOCDIR})
install(FILES packaging/copyright DESTINATION ${CMAKE_INSTALL_DOCDIR})

# The Python module, a package of its own.
if(TARGET rt_python)
  set(szPython lib/python3/dist-packages/raytracer)
  install(TARGETS rt_python LIBRARY DESTINATION ${szPython} COMPONENT python)
  install(DIRECTORY python/raytracer/ DESTINATION ${szPython} COMPONENT python
          FILES_MATCHING PATTERN "*.py" PATTERN "*.pyi" PATTERN "py.typed" PATTERN "__pycache__" EXCLUDE)
  install(FILES packaging/copyright ${PROJECT_BINARY_DIR}/pages/changelog.gz
          DESTINATION ${CMAKE_INSTALL_DATAROOTDIR}/doc/python3-raytracer COMPONENT python)
endif()

# One file completes all programs; bash looks for it under the name of each.
set(szCompletions ${CMAKE_INSTALL_DATADIR}/bash-completion/completions)
rt_make_page(completions/RayTracer.in completions)
install(FILES ${PROJECT_BINARY_DIR}/pages/completions DESTINATION ${szCompletions} RENAME RayTracer)
foreach(szProgram RayTracer.exe rt-bundle ${RT_TOOL_PROGRAMS})
  file(CREATE_LINK RayTracer ${PROJECT_BINARY_DIR}/completions/${szProgram} SYMBOLIC)
  install(FILES ${PROJECT_BINARY_DIR}/completions/${szProgram} DESTINATION ${szCompletions})
endforeach()
add_custom_target(pages ALL DEPENDS ${vPages})

set(CPACK_GENERATOR DEB)
if(RT_STATIC)
  set(CPACK_GENERATOR TGZ)
  set(CPACK_PACKAGE_FILE_NAME raytracer-${PROJECT_VERSION}-linux-${CMAKE_SYSTEM_PROCESSOR})
endif()
set(CPACK_PACKAGE_NAME raytracer)
set(CPACK_PACKAGE_CONTACT "The RayTracer developers <raytracer@packages.debian.org>")
# The first line is the summary; a summary of its own would be that of all packages.
set(CPACK_PACKAGE_DESCRIPTION "ray tracer for triangle meshes with a render farm
Renders scenes and model files of triangles with
mirrors, glass, smooth shading and a procedural brick wall: on one core, on
all cores, or on many machines through its own server and clients. The
picture is the same to the byte on each. Brings a library of ray queries for
programs that link it.")
set(CPACK_STRIP_FILES ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SECTION graphics)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
if(CMAKE_CROSSCOMPILING AND CMAKE_SYSTEM_PROCESSOR STREQUAL "aarch64")
  # dpkg-shlibdeps knows the packages of this machine's architecture alone.
  set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS OFF)
  set(CPACK_DEBIAN_PACKAGE_DEPENDS "libc6 (>= 2.36), libgcc-s1 (>= 12), libstdc++6 (>= 12)")
  set(CPACK_DEBIAN_PACKAGE_ARCHITECTURE arm64)
endif()
set(CPACK_INSTALL_DEFAULT_DIRECTORY_PERMISSIONS OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE
    WORLD_READ WORLD_EXECUTE)
if(TARGET rt_python)
  set(CPACK_DEB_COMPONENT_INSTALL ON)
  set(CPACK_COMPONENTS_ALL Unspecified python)
  set(CPACK_DEBIAN_UNSPECIFIED_PACKAGE_NAME raytracer)
  set(CPACK_COMPONENT_UNSPECIFIED_DESCRIPTION "${CPACK_PACKAGE_DESCRIPTION}")
  set(CPACK_DEBIAN_PYTHON_PACKAGE_NAME python3-raytracer)
  set(CPACK_DEBIAN_PYTHON_PACKAGE_SECTION python)
  math(EXPR uNext "${RT_PYTHON_MINOR} + 1")
  set(CPACK_DEBIAN_PYTHON_PACKAGE_DEPENDS
      "python3 (>= 3.${RT_PYTHON_MINOR}~), python3 (<< 3.${uNext}), python3-numpy")
  set(CPACK_DEBIAN_PYTHON_PACKAGE_RECOMMENDS "raytracer")  # its rt-import reads model files
  set(CPACK_DEBIAN_PYTHON_PACKAGE_SUGGESTS python3-distributed)
  set(CPACK_DEBIAN_PYTHON_DESCRIPTION "rays, closest points and pictures of triangle meshes (Python 3)
Casts rays at meshes of numpy arrays, watertight and on all cores: nearest
hits, all hits, visibility, closest points, signed distances, depth and
normals, and pictures.")
endif()
include(CPack)
