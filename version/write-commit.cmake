# SPDX-License-Identifier: Apache-2.0
# usage: cmake -DHEADER=FILE -DSOURCE=FOLDER -DCOMMIT=TEXT -DGIT=PROGRAM -P write-commit.cmake
if(COMMIT STREQUAL "" AND EXISTS "${SOURCE}/.git" AND GIT)
    execute_process(COMMAND ${GIT} -c safe.directory=* -C ${SOURCE} rev-parse --short=7 HEAD
        OUTPUT_VARIABLE COMMIT OUTPUT_STRIP_TRAILING_WHITESPACE ERROR_QUIET)
endif()
if(COMMIT STREQUAL "")
    set(COMMIT unknown)
endif()
file(WRITE ${HEADER} "#pragma once\n#define TARNEL_COMMIT \"${COMMIT}\"\n")
