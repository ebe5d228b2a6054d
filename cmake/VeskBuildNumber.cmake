# The target vesk_build writes VeskBuild.h and vesk-build.properties: version, build number (commits
# up to HEAD) and the date of HEAD. Both change only when HEAD does, so that nothing is rebuilt for
# nothing and the same sources give the same bytes.

set(VESK_GENERATED "${PROJECT_BINARY_DIR}/generated")
add_custom_target(vesk_build
  COMMAND "${CMAKE_COMMAND}" -D SOURCE=${PROJECT_SOURCE_DIR} -D OUT=${VESK_GENERATED}
          -D VERSION=${PROJECT_VERSION} -P "${PROJECT_SOURCE_DIR}/cmake/WriteBuildNumber.cmake"
  BYPRODUCTS "${VESK_GENERATED}/VeskBuild.h" "${VESK_GENERATED}/vesk-build.properties"
  COMMENT "Build number"
)
