cmake_minimum_required(VERSION 3.25)
# Run by the target vesk_build. Without git (a source archive) the build number is 0.

function(ask_git variable fallback)
  execute_process(COMMAND git -C "${SOURCE}" ${ARGN}
    OUTPUT_VARIABLE answer OUTPUT_STRIP_TRAILING_WHITESPACE ERROR_QUIET RESULT_VARIABLE status)
  if(NOT status EQUAL 0 OR answer STREQUAL "")
    set(answer "${fallback}")
  endif()
  set(${variable} "${answer}" PARENT_SCOPE)
endfunction()

set(ENV{TZ} UTC)
ask_git(build 0 rev-list --count HEAD)
ask_git(stamp "1970/01/01 00:00:00" log -1 --format=%cd "--date=format-local:%Y/%m/%d %H:%M:%S")

file(CONFIGURE OUTPUT "${OUT}/VeskBuild.h" @ONLY CONTENT
"// Written by the build.
#define VESK_VERSION \"@VERSION@\"
#define VESK_BUILD @build@
#define VESK_BUILD_DATE \"@stamp@\"
")
file(CONFIGURE OUTPUT "${OUT}/vesk-build.properties" @ONLY CONTENT
"version=@VERSION@
build=@build@
")
