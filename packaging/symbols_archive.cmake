# SPDX-License-Identifier: Apache-2.0
# Run by CPack on the packages that it has made. Debian's package of debug symbols is made available as an archive, too;
# programs and libraries of the other archive have the same build ids.
foreach(file IN LISTS CPACK_PACKAGE_FILES)
    if(NOT file MATCHES "dbgsym.*deb$")
        continue()
    endif()
    # Its sums name the files by where they were packed, which "dpkg --verify" does not find.
    set(folder ${CPACK_TEMPORARY_DIRECTORY}/symbols)
    file(REMOVE_RECURSE ${folder})
    execute_process(COMMAND dpkg-deb --raw-extract ${file} ${folder} COMMAND_ERROR_IS_FATAL ANY)
    file(READ ${folder}/DEBIAN/md5sums sums)
    string(REGEX REPLACE "  [^\n]*/usr/lib/debug/" "  usr/lib/debug/" sums "${sums}")
    file(WRITE ${folder}/DEBIAN/md5sums "${sums}")
    execute_process(COMMAND dpkg-deb --root-owner-group -Zgzip --build ${folder} ${file}
        OUTPUT_QUIET COMMAND_ERROR_IS_FATAL ANY)
    execute_process(COMMAND dpkg-deb --fsys-tarfile ${file} COMMAND gzip -9n
        OUTPUT_FILE ${CPACK_PACKAGE_DIRECTORY}/${CPACK_PACKAGE_FILE_NAME}-symbols.tar.gz COMMAND_ERROR_IS_FATAL ANY)
endforeach()
