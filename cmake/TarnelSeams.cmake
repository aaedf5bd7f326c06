# SPDX-License-Identifier: Apache-2.0
# A seam is one header with a body per platform and, where faults must be injected, a scripted body:
#   <room>/<name>.h, <room>/windows/<name>.cpp, <room>/posix/<name>.cpp, tests/fakes/<name>.cpp
#
# tarnel_add_room(ROOM) adds the room's logic (<room>/*.cpp) to tarnel_logic and makes a library platform_<name> from
# each body in <room>/<platform>/; all of them are in tarnel_platform. Sources are globbed, so that no file can be in
# the tree and not in the build.
set_property(GLOBAL PROPERTY TARNEL_SEAMS "")
function(tarnel_add_room room)
    file(GLOB logic CONFIGURE_DEPENDS ${PROJECT_SOURCE_DIR}/${room}/*.cpp)
    target_sources(tarnel_logic PRIVATE ${logic})
    set_source_files_properties(${logic} TARGET_DIRECTORY tarnel_logic PROPERTIES UNITY_GROUP ${room})
    file(GLOB bodies CONFIGURE_DEPENDS ${PROJECT_SOURCE_DIR}/${room}/${TARNEL_PLATFORM}/*.cpp)
    foreach(body IN LISTS bodies)
        get_filename_component(name ${body} NAME_WE)
        add_library(platform_${name} STATIC ${body})
        target_link_libraries(platform_${name} PUBLIC tarnel_settings)
        target_link_libraries(tarnel_platform INTERFACE platform_${name})
        set_property(GLOBAL APPEND PROPERTY TARNEL_SEAMS ${name})
    endforeach()
endfunction()
