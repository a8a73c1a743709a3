# The tree's layers are static libraries that see only their own headers and
# those of the layers they link. Each layer exposes its folder through a
# directory of its own in the build tree (build/layers/<folder>/<folder> is a
# link to the source folder), so that `#include "editor/x.h"` written in a
# lower layer finds no such file and the build stops there.
#
#   purfp_layer(<target> <folder> [<libraries it uses>...])
function(purfp_layer target folder)
    file(GLOB sources CONFIGURE_DEPENDS ${CMAKE_SOURCE_DIR}/${folder}/*.cpp ${CMAKE_SOURCE_DIR}/${folder}/*.h)
    add_library(${target} STATIC ${sources})
    set(view ${CMAKE_BINARY_DIR}/layers/${folder})
    file(MAKE_DIRECTORY ${view})
    file(CREATE_LINK ${CMAKE_SOURCE_DIR}/${folder} ${view}/${folder} SYMBOLIC)
    target_include_directories(${target} PUBLIC ${view})
    target_link_libraries(${target} PUBLIC ${ARGN})
endfunction()
