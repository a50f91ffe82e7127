# The few helpers that every folder uses, so that flags and labels stand in one place.

# Flags of all our own code.
add_library(qz_flags INTERFACE)
target_include_directories(qz_flags INTERFACE ${CMAKE_SOURCE_DIR}/include ${CMAKE_SOURCE_DIR}/src)
target_compile_options(qz_flags INTERFACE -Wall -Wextra -Wshadow -Wconversion $<$<BOOL:${QZ_WERROR}>:-Werror>)
if(QZ_SANITIZE)
  target_compile_options(qz_flags INTERFACE -fsanitize=${QZ_SANITIZE} -fno-omit-frame-pointer
                                            -fno-sanitize-recover=all)
  target_link_options(qz_flags INTERFACE -fsanitize=${QZ_SANITIZE})
endif()

if(QZ_HARDEN) # checked sizes, guarded stacks, and tables of addresses that nothing writes to once they are bound
  target_compile_options(qz_flags INTERFACE -fstack-protector-strong -fstack-clash-protection -fcf-protection
                                            $<$<NOT:$<CONFIG:Debug>>:-U_FORTIFY_SOURCE>
                                            $<$<NOT:$<CONFIG:Debug>>:-D_FORTIFY_SOURCE=2>)
  target_link_options(qz_flags INTERFACE -Wl,-z,relro,-z,now,-z,noexecstack)
endif()

# Flags of the module's own code: neither exceptions nor run-time types, and no fused multiply-add behind our back, so
# that every build of a kernel gives the same bits.
add_library(qz_module_flags INTERFACE)
target_link_libraries(qz_module_flags INTERFACE qz_flags)
target_compile_options(qz_module_flags INTERFACE $<$<COMPILE_LANGUAGE:CXX>:-fno-exceptions -fno-rtti>
                                                 -ffp-contract=off)
if(NOT QZ_VERIFICATION) # every check becomes an empty function, to measure what the layer costs
  target_compile_definitions(qz_module_flags INTERFACE QZ_WITHOUT_VERIFICATION)
endif()

# qz_module_library(NAME SOURCES... [DEPENDS libs...]): one floor of the module as a static library.
function(qz_module_library name)
  cmake_parse_arguments(ARG "" "" "DEPENDS" ${ARGN})
  add_library(${name} STATIC ${ARG_UNPARSED_ARGUMENTS})
  target_link_libraries(${name} PUBLIC ${ARG_DEPENDS} PRIVATE qz_module_flags)
endfunction()

# qz_test(NAME SOURCES... [DEPENDS libs...] [LABELS labels...] [TIMEOUT seconds]): a GoogleTest program, each of its
# cases known to CTest. The default label is unit.
function(qz_test name)
  cmake_parse_arguments(ARG "" "TIMEOUT" "DEPENDS;LABELS" ${ARGN})
  if(NOT ARG_LABELS)
    set(ARG_LABELS unit)
  endif()
  if(NOT ARG_TIMEOUT)
    set(ARG_TIMEOUT 300)
  endif()
  add_executable(${name} ${ARG_UNPARSED_ARGUMENTS})
  target_include_directories(${name} PRIVATE ${CMAKE_SOURCE_DIR}/tests)
  target_link_libraries(${name} PRIVATE qz_test_support ${ARG_DEPENDS} qz_flags GTest::gtest_main)
  include(GoogleTest)
  gtest_discover_tests(${name} PROPERTIES LABELS "${ARG_LABELS}" TIMEOUT ${ARG_TIMEOUT} DISCOVERY_TIMEOUT 120)
endfunction()
