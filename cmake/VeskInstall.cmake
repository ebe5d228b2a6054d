# cmake --install lays out an install root, as one stands on an appliance in /opt/brelvik/vesk. Components:
#   bridge     lib/libveskjni.so
#   product    the product libraries, their settings, texts and euqjob
#   ctl        jar, veskctl, its man page and completion
#   appliance  the appliance's tools, and system/, a tree of what lies outside of the install root
#   dev        headers, CMake package, pkg-config file
include(CMakePackageConfigHelpers)

set(VESK_INCLUDE_DIR include/veskjni)

# vesk_install_settings(FOLDER FILE COMPONENT c): FOLDER/FILE becomes FILE in the install root, unless it is
# there: somebody may have changed it.
function(vesk_install_settings folder file)
  cmake_parse_arguments(PARSE_ARGV 2 arg "" "COMPONENT" "")
  cmake_path(GET file PARENT_PATH destination)
  install(CODE "
    if(NOT EXISTS \"\$ENV{DESTDIR}\${CMAKE_INSTALL_PREFIX}/${file}\")
      file(INSTALL \"${folder}/${file}\" DESTINATION \"\${CMAKE_INSTALL_PREFIX}/${destination}\")
    endif()" COMPONENT ${arg_COMPONENT})
endfunction()

install(FILES "${PROJECT_SOURCE_DIR}/include/VeskVer.h" DESTINATION ${VESK_INCLUDE_DIR} COMPONENT dev)
install(DIRECTORY "${PROJECT_SOURCE_DIR}/include/product" DESTINATION ${VESK_INCLUDE_DIR} COMPONENT dev)

set(package lib/cmake/veskjni)
install(EXPORT veskjni NAMESPACE veskjni:: FILE veskjniTargets.cmake DESTINATION ${package}
        COMPONENT dev)
configure_package_config_file("${CMAKE_CURRENT_LIST_DIR}/veskjniConfig.cmake.in"
  "${PROJECT_BINARY_DIR}/veskjniConfig.cmake" INSTALL_DESTINATION ${package}
  NO_SET_AND_CHECK_MACRO)
write_basic_package_version_file("${PROJECT_BINARY_DIR}/veskjniConfigVersion.cmake"
  COMPATIBILITY SameMajorVersion)
install(FILES "${PROJECT_BINARY_DIR}/veskjniConfig.cmake"
  "${PROJECT_BINARY_DIR}/veskjniConfigVersion.cmake" DESTINATION ${package} COMPONENT dev)

configure_file("${CMAKE_CURRENT_LIST_DIR}/veskjni.pc.in" "${PROJECT_BINARY_DIR}/veskjni.pc" @ONLY)
install(FILES "${PROJECT_BINARY_DIR}/veskjni.pc" DESTINATION lib/pkgconfig COMPONENT dev)
