# SPDX-License-Identifier: Apache-2.0
# Run by CPack on the packages that it has made: Debian's package of debug symbols as an archive, too. Programs and
# libraries of the other archive have the same build ids.
foreach(file IN LISTS CPACK_PACKAGE_FILES)
    if(file MATCHES "dbgsym.*deb$")
        execute_process(COMMAND dpkg-deb --fsys-tarfile ${file} COMMAND gzip -9n
            OUTPUT_FILE ${CPACK_PACKAGE_DIRECTORY}/${CPACK_PACKAGE_FILE_NAME}-symbols.tar.gz COMMAND_ERROR_IS_FATAL ANY)
    endif()
endforeach()
