# SPDX-License-Identifier: Apache-2.0
# Read by CPack for each kind of package. Packages of Debian are split, and what is stripped from their files goes into
# packages of symbols; the archive holds everything.
if(CPACK_GENERATOR STREQUAL DEB)
    set(CPACK_COMPONENTS_GROUPING ONE_PER_GROUP)
    set(CPACK_STRIP_FILES OFF)
endif()
