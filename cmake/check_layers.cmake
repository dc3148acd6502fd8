# Fails when a source file includes a header of a higher layer, or of a
# sibling on its own layer. Run by the build (the check_layers target) with
# -DSOURCE_DIR=<top of the source tree>.
#
#   0  foundation, platform   (TolmarUtilLow; the two may include each other)
#   1  segy, geometry, host
#   2  graphics
#   3  util, hosttools
# The tool, the tests and the benchmarks stand above them all and are not checked.

cmake_minimum_required(VERSION 3.25)

set(rank_foundation 0)
set(rank_platform 0)
set(rank_segy 1)
set(rank_geometry 1)
set(rank_host 1)
set(rank_graphics 2)
set(rank_util 3)
set(rank_hosttools 3)
set(lowest foundation platform)
set(folders foundation platform segy geometry host graphics util hosttools)

set(problems "")
foreach(folder IN LISTS folders)
  file(GLOB_RECURSE sources "${SOURCE_DIR}/${folder}/*.h" "${SOURCE_DIR}/${folder}/*.cpp")
  foreach(source IN LISTS sources)
    file(STRINGS "${source}" includes REGEX "^[ \t]*#[ \t]*include[ \t]*\"[a-z_]+/")
    foreach(line IN LISTS includes)
      string(REGEX REPLACE "^[ \t]*#[ \t]*include[ \t]*\"([a-z_]+)/.*" "\\1" target "${line}")
      if(target STREQUAL folder OR NOT DEFINED rank_${target})
        continue()
      endif()
      if(folder IN_LIST lowest AND target IN_LIST lowest)
        continue()
      endif()
      if(rank_${target} LESS rank_${folder})
        continue()
      endif()
      file(RELATIVE_PATH where "${SOURCE_DIR}" "${source}")
      string(STRIP "${line}" line)
      string(APPEND problems "\n  ${where}: ${line} (${folder} is layer ${rank_${folder}}, ${target} layer ${rank_${target}})")
    endforeach()
  endforeach()
endforeach()

if(problems)
  message(FATAL_ERROR "Includes that go up a layer or across to a sibling:${problems}\n"
    "A layer may include only the layers below it (README, Layout).")
endif()

# The public headers are those TolmarUtil.h names. Each marks what it declares
# for export, and leans only on other public headers, since only they are
# installed.
file(STRINGS "${SOURCE_DIR}/TolmarUtil.h" public REGEX "^#include \"[a-z]+/")
list(TRANSFORM public REPLACE "^#include \"([^\"]+)\".*" "\\1")
foreach(header IN LISTS public)
  file(READ "${SOURCE_DIR}/${header}" text)
  if(NOT text MATCHES "TOLMAR_PUBLIC_BEGIN" OR NOT text MATCHES "TOLMAR_PUBLIC_END")
    if(NOT header STREQUAL "platform/api.h")
      string(APPEND problems "\n  ${header}: public, but not wrapped in TOLMAR_PUBLIC_BEGIN/END")
    endif()
  endif()
  file(STRINGS "${SOURCE_DIR}/${header}" includes REGEX "^#include \"[a-z_]+/")
  foreach(line IN LISTS includes)
    string(REGEX REPLACE "^#include \"([^\"]+)\".*" "\\1" included "${line}")
    if(NOT included IN_LIST public)
      string(APPEND problems "\n  ${header}: includes ${included}, which TolmarUtil.h does not name")
    endif()
  endforeach()
endforeach()

if(problems)
  message(FATAL_ERROR "Public headers that an installed tree could not use:${problems}")
endif()
