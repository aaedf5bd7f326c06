# SPDX-License-Identifier: Apache-2.0
# usage: cmake -DHEADER=FILE -DSOURCE=FOLDER -DCOMMIT=TEXT -DGIT=PROGRAM -P write-commit.cmake
#
# "-dirty" stands behind the commit where the sources are others than it has: changed, or with files that git does not know,
# for every source that is in the tree is in the build. The header is written only when it changes, so that a build without
# news compiles nothing.
if(COMMIT STREQUAL "" AND EXISTS "${SOURCE}/.git" AND GIT)
    set(git ${GIT} --no-optional-locks -c safe.directory=* -C ${SOURCE})  # the sources may be somebody else's
    execute_process(COMMAND ${git} rev-parse --short=7 HEAD
        OUTPUT_VARIABLE COMMIT OUTPUT_STRIP_TRAILING_WHITESPACE ERROR_QUIET)
    execute_process(COMMAND ${git} status --porcelain OUTPUT_VARIABLE changes RESULT_VARIABLE failed ERROR_QUIET)
    if(NOT COMMIT STREQUAL "" AND (failed OR NOT changes STREQUAL ""))
        string(APPEND COMMIT -dirty)
    endif()
endif()
if(COMMIT STREQUAL "")
    set(COMMIT unknown)
endif()
file(CONFIGURE OUTPUT ${HEADER} CONTENT "#pragma once\n#define TARNEL_COMMIT \"${COMMIT}\"\n" @ONLY)
