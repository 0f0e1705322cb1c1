# SPDX-License-Identifier: MIT

# ds3000-ctl as one static file, for receivers that have no C++ library, or another C library.

# An object of all that is in some objects and archives, changed by objcopy.
function(ds3000_joined_object name)
  cmake_parse_arguments(PARSE_ARGV 1 arg "" "" "OF;CHANGES")
  set(object ${CMAKE_CURRENT_BINARY_DIR}/${name}.o)
  add_custom_command(OUTPUT ${object}
    COMMAND ${CMAKE_CXX_COMPILER} -r -nostdlib -Wl,--force-group-allocation
      -Wl,--whole-archive ${arg_OF} -o ${object}
    COMMAND ${CMAKE_OBJCOPY} ${arg_CHANGES} ${object}
    DEPENDS ${arg_OF}
    COMMAND_EXPAND_LISTS VERBATIM)
  set_source_files_properties(${object} PROPERTIES EXTERNAL_OBJECT ON GENERATED ON)
  target_sources(ds3000-ctl PRIVATE ${object})
endfunction()

# The program loads nothing, so the plug-in is a part of it: one object of which only the export can
# be seen, so that its state and that of the chip layer stay two.
ds3000_joined_object(builtin_plugin
  OF $<TARGET_OBJECTS:ds3000_plugin> $<TARGET_OBJECTS:ds3000_firmware>
  CHANGES --keep-global-symbol=dvb_ts_tuner_get_metadata_ds3000_and_ts2022)
set_target_properties(ds3000_plugin PROPERTIES
  EXCLUDE_FROM_ALL ON POSITION_INDEPENDENT_CODE OFF)

# The virtual time counts by the atomic operations of the compiler's library where the processor has
# none so wide, and that library locks: the system's mutexes, not those of the virtual time.
if(NOT DS3000_INLINE_ATOMICS)
  execute_process(COMMAND ${CMAKE_CXX_COMPILER} -print-file-name=libatomic.a
    OUTPUT_VARIABLE atomic OUTPUT_STRIP_TRAILING_WHITESPACE COMMAND_ERROR_IS_FATAL ANY)
  ds3000_joined_object(atomic OF ${atomic}
    CHANGES --redefine-sym=pthread_mutex_lock=__real_pthread_mutex_lock
      --redefine-sym=pthread_mutex_unlock=__real_pthread_mutex_unlock)
endif()

target_link_options(ds3000-ctl PRIVATE -static -no-pie -Wl,--gc-sections)
