# Installs the build into a fresh prefix, checks what a workstation gets,
# builds the example C host against the installed package and runs it, with
# the installed purfp, on a new demo database.
#   cmake -DBUILD_DIR=... -DSOURCE_DIR=... -DWORK=... -P check_install.cmake
function(run)
    execute_process(COMMAND ${ARGN} RESULT_VARIABLE rc OUTPUT_VARIABLE out ERROR_VARIABLE err)
    if(NOT rc EQUAL 0)
        message(FATAL_ERROR "${ARGN}\nexit ${rc}\n${out}\n${err}")
    endif()
    set(out "${out}" PARENT_SCOPE)
endfunction()

file(REMOVE_RECURSE ${WORK})
set(prefix ${WORK}/prefix)
run(${CMAKE_COMMAND} --install ${BUILD_DIR} --prefix ${prefix})
foreach(file bin/purfp include/TamsorPurFP/CApi.h share/applications/tamsorpurfp.desktop
             share/icons/hicolor/scalable/apps/tamsorpurfp.svg)
    if(NOT EXISTS ${prefix}/${file})
        message(FATAL_ERROR "not installed: ${file}")
    endif()
endforeach()
file(GLOB_RECURSE installed RELATIVE ${prefix} ${prefix}/*libTamsorPurFP.so ${prefix}/*TamsorPurFPConfig.cmake)
list(LENGTH installed count)
if(NOT count EQUAL 2)
    message(FATAL_ERROR "library or package missing: ${installed}")
endif()

run(${CMAKE_COMMAND} -S ${SOURCE_DIR}/examples/c-host -B ${WORK}/host -DCMAKE_PREFIX_PATH=${prefix})
run(${CMAKE_COMMAND} --build ${WORK}/host)

set(env ${CMAKE_COMMAND} -E env XDG_CONFIG_HOME=${WORK}/config XDG_DATA_HOME=${WORK}/data PURFP_NO_FORMS=1)
run(${env} ${prefix}/bin/purfp init --db ${WORK}/demo.db --demo)
run(${env} ${prefix}/bin/purfp findInfo2 " and frob=1")
if(NOT out MATCHES "findInfo2 返回")
    message(FATAL_ERROR "installed purfp: ${out}")
endif()
run(${env} ${WORK}/host/purfp_c_host " and frob=1")
if(NOT out MATCHES "findInfo1: 00000000 \"0\"")
    message(FATAL_ERROR "C host: ${out}")
endif()
message(STATUS "installed and ran: ${out}")
