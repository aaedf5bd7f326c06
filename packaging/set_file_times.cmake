# SPDX-License-Identifier: Apache-2.0
# Run by CPack on the tree that is packed: every file carries the time in SOURCE_DATE_EPOCH.
if(DEFINED ENV{SOURCE_DATE_EPOCH})
    execute_process(COMMAND find ${CPACK_TEMPORARY_DIRECTORY} -exec touch --no-dereference --date=@$ENV{SOURCE_DATE_EPOCH} {} +
        COMMAND_ERROR_IS_FATAL ANY)
endif()
