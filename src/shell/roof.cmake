# The roof: what the host calls. It stands on all floors, so it is built behind them.

# Instance, options, pipeline, and the module object. No common entry names, so that it links into any program.
qz_module_library(qz_shell
  shell/module_object.cpp
  shell/instance.cpp
  shell/lp_options.cpp
  shell/iplp_main.cpp
  shell/pipeline.cpp
  shell/crossover.cpp
  shell/remeasure.cpp
  diagnostics/export.cpp
  diagnostics/export.cpp
  DEPENDS qz_engine qz_verify_shift qz_verify)

# The entries under names that all modules of the family share.
qz_module_library(qz_entries
  shell/entries.cpp
  DEPENDS qz_ground)

# The module: exactly its entries are visible, and nothing is left unresolved.
set(qz_map ${CMAKE_CURRENT_LIST_DIR}/qzipsolve.map)
add_library(qzipsolve_so MODULE $<TARGET_OBJECTS:qz_entries> $<TARGET_OBJECTS:qz_shell>)
set_target_properties(qzipsolve_so PROPERTIES OUTPUT_NAME qzipsolve PREFIX "" SUFFIX .so LINK_DEPENDS ${qz_map}
                                              LINKER_LANGUAGE CXX)
target_link_libraries(qzipsolve_so PRIVATE qz_verify_shift qz_engine qz_flags)
target_link_options(qzipsolve_so PRIVATE -Wl,--version-script=${qz_map} -Wl,-Bsymbolic -Wl,--as-needed -static-libgcc
                                         -static-libstdc++)
if(NOT QZ_SANITIZE) # a sanitizer's run time stays undefined in a module until the program brings it
  target_link_options(qzipsolve_so PRIVATE -Wl,--no-undefined)
endif()
