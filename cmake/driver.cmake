# SPDX-License-Identifier: MIT

# The driver: the chip layer and, on top of it, the plug-in. Nothing here needs more than the
# language and POSIX.

set(ds3000_public_headers
  ds3000/chip/ds3000_context.h
  ds3000/chip/tuner_ops.h
  ds3000/chip/wiring.h
  ds3000/demod/carrier.h
  ds3000/demod/connect.h
  ds3000/demod/firmware.h
  ds3000/demod/lock.h
  ds3000/demod/master_clock.h
  ds3000/demod/power.h
  ds3000/demod/programming.h
  ds3000/demod/signal_quality.h
  ds3000/demod/signal_strength.h
  ds3000/demod/ts_clock.h
  ds3000/demod/ts_divider.h
  ds3000/demod/ts_mode.h
  ds3000/demod/ts_output.h
  ds3000/diseqc/diseqc.h
  ds3000/diseqc/unicable.h
  ds3000/hw/driver_record.h
  ds3000/hw/hdi.h
  ds3000/hw/lnb_supply.h
  ds3000/hw/register_access.h
  ds3000/plugin/channel.h
  ds3000/plugin/plugin.h
  ds3000/scan/blind_scan.h
  ds3000/scan/scan_control.h
  ds3000/scan/scan_list.h
  ds3000/scan/scan_request.h
  ds3000/scan/spectrum_look.h
  ds3000/scan/spectrum_search.h
  ds3000/scan/user_bands.h
  ds3000/scan/verification.h
  ds3000/tuner/ts2022.h)

set(ds3000_sources
  ds3000/chip/ds3000_context.cpp
  ds3000/demod/board_options.cpp
  ds3000/demod/carrier.cpp
  ds3000/demod/connect.cpp
  ds3000/demod/connect_tables.cpp
  ds3000/demod/dvbs2_recovery.cpp
  ds3000/demod/firmware.cpp
  ds3000/demod/lock.cpp
  ds3000/demod/lock_status.cpp
  ds3000/demod/low_rate.cpp
  ds3000/demod/master_clock.cpp
  ds3000/demod/mcu.cpp
  ds3000/demod/power.cpp
  ds3000/demod/programming.cpp
  ds3000/demod/signal_quality.cpp
  ds3000/demod/signal_strength.cpp
  ds3000/demod/ts_clock.cpp
  ds3000/demod/ts_divider.cpp
  ds3000/demod/ts_mode.cpp
  ds3000/diseqc/diseqc.cpp
  ds3000/diseqc/unicable.cpp
  ds3000/hw/lnb_supply.cpp
  ds3000/hw/message.cpp
  ds3000/hw/register_access.cpp
  ds3000/plugin/channel.cpp
  ds3000/scan/blind_scan.cpp
  ds3000/scan/peak_filter.cpp
  ds3000/scan/scan_control.cpp
  ds3000/scan/scan_list.cpp
  ds3000/scan/spectrum_look.cpp
  ds3000/scan/spectrum_search.cpp
  ds3000/scan/user_bands.cpp
  ds3000/scan/verification.cpp
  ds3000/tuner/ts2022_channel.cpp
  ds3000/tuner/ts2022_gain.cpp
  ds3000/tuner/ts2022_power.cpp)

set(ds3000_plugin_sources
  ds3000/plugin/clock.cpp
  ds3000/plugin/descriptor.cpp
  ds3000/plugin/driver.cpp
  ds3000/plugin/tune.cpp
  ds3000/plugin/worker.cpp)

add_library(ds3000_driver_flags INTERFACE)
target_compile_options(ds3000_driver_flags INTERFACE
  $<$<COMPILE_LANGUAGE:CXX>:-fno-exceptions -fno-rtti -fno-threadsafe-statics>
  -ffunction-sections -fdata-sections
  $<$<CONFIG:Release>:-Os>)
target_link_libraries(ds3000_driver_flags INTERFACE ds3000_common)

add_library(ds3000_objects OBJECT ${ds3000_sources})
target_link_libraries(ds3000_objects PUBLIC ds3000_driver_flags ds3000_firmware)
# On i386 optimising for size keeps a frame pointer: three instructions of every register access.
target_compile_options(ds3000_objects PRIVATE $<$<CONFIG:Release>:-fomit-frame-pointer>)
set_target_properties(ds3000_objects PROPERTIES
  CXX_VISIBILITY_PRESET hidden VISIBILITY_INLINES_HIDDEN ON)

# The public headers' folder: the tree itself, or for a project that builds this one within its own the
# copies, which nothing but the driver's headers lie beside.
add_library(ds3000_headers INTERFACE)
if(PROJECT_IS_TOP_LEVEL)
  set(headers_folder ${PROJECT_SOURCE_DIR})
else()
  set(headers_folder ${PROJECT_BINARY_DIR}/include)
endif()
target_include_directories(ds3000_headers INTERFACE $<BUILD_INTERFACE:${headers_folder}>)

add_library(ds3000 STATIC $<TARGET_OBJECTS:ds3000_objects> $<TARGET_OBJECTS:ds3000_firmware>)
target_link_libraries(ds3000 INTERFACE ds3000_headers)

# A program that loads the plug-in: it defines the functions of ds3000/hw/hdi.h and lends them.
add_library(ds3000_plugin_api INTERFACE)
target_link_libraries(ds3000_plugin_api INTERFACE ds3000_headers ${CMAKE_DL_LIBS})
target_link_options(ds3000_plugin_api INTERFACE LINKER:--export-dynamic)

# The plug-in, from its own objects: a release build sees all of it at once, which the archive must
# not, as its user may have another compiler. clang would need a linker of its own for that and goes
# without.
add_library(ds3000_plugin MODULE ${ds3000_sources} ${ds3000_plugin_sources})
# The images are named as what is linked and not as sources, which Ninja puts before the plug-in's own
# and make behind them: the file would depend on who builds it.
target_link_libraries(ds3000_plugin PRIVATE
  ds3000_driver_flags ds3000_time_calls $<TARGET_OBJECTS:ds3000_firmware>)
set_target_properties(ds3000_plugin PROPERTIES
  PREFIX "" OUTPUT_NAME dvb_ts_tuner_ds3000_and_ts2022
  CXX_VISIBILITY_PRESET hidden VISIBILITY_INLINES_HIDDEN ON)

set(whole_program
  $<AND:$<CONFIG:Release>,$<CXX_COMPILER_ID:GNU>,$<NOT:$<BOOL:${DS3000_STATIC_PROGRAM}>>>)
target_compile_options(ds3000_plugin PRIVATE
  # Nothing here throws, and nothing unwinds through a poll: a debugger has .debug_frame.
  $<$<CONFIG:Release>:-fno-asynchronous-unwind-tables;-fno-unwind-tables>
  $<${whole_program}:-flto;-flto-partition=one>)

# How the plug-in is laid out and bound: the same for every way of linking it.
add_library(ds3000_plugin_linking INTERFACE)
target_link_options(ds3000_plugin_linking INTERFACE
  -static-libgcc -Wl,--as-needed -Wl,--gc-sections -Wl,--exclude-libs,ALL
  -Wl,-z,relro,-z,now,-z,noexecstack
  # There is nothing to construct or destroy. Sanitizers and coverage do have something.
  $<$<CONFIG:Release>:-nostartfiles>
  $<${whole_program}:-Os;-flto;-flto-partition=one>)
if(DS3000_WRAPPED_TIME)
  # libgcc has a __wrap_pthread_create of its own, for split stacks; the plug-in needs nothing of it.
  target_link_options(ds3000_plugin_linking INTERFACE -nodefaultlibs)
  target_link_libraries(ds3000_plugin_linking INTERFACE c)
endif()
target_link_libraries(ds3000_plugin PRIVATE ds3000_plugin_linking)

# The same once more, only to see that a host with the seven functions of ds3000/hw/hdi.h lacks
# nothing.
add_library(ds3000_host_stub SHARED EXCLUDE_FROM_ALL cmake/host_stub.c)
target_link_libraries(ds3000_host_stub PRIVATE ds3000_common)
add_library(ds3000_plugin_complete MODULE EXCLUDE_FROM_ALL $<TARGET_OBJECTS:ds3000_plugin>
  $<TARGET_OBJECTS:ds3000_firmware>)
target_link_options(ds3000_plugin_complete PRIVATE -Wl,-z,defs)
target_link_libraries(ds3000_plugin_complete PRIVATE
  ds3000_common ds3000_time_calls ds3000_plugin_linking ds3000_host_stub)
set_target_properties(ds3000_plugin_complete PROPERTIES LINKER_LANGUAGE CXX)

if(DS3000_SHARED_LIBRARY)
  add_library(ds3000_shared SHARED ${ds3000_sources})
  target_link_libraries(ds3000_shared
    PRIVATE ds3000_driver_flags $<TARGET_OBJECTS:ds3000_firmware> INTERFACE ds3000_headers)
  # Of the names with external linkage, those that a C program can call.
  target_link_options(ds3000_shared PRIVATE
    -static-libgcc -Wl,--as-needed -Wl,--gc-sections -Wl,-z,relro,-z,now,-z,noexecstack
    -Wl,--version-script=${PROJECT_SOURCE_DIR}/cmake/libds3000.map)
  set_target_properties(ds3000_shared PROPERTIES
    OUTPUT_NAME ds3000 EXPORT_NAME chip_shared SOVERSION ${PROJECT_VERSION_MAJOR} VERSION ${PROJECT_VERSION}
    LINK_DEPENDS ${PROJECT_SOURCE_DIR}/cmake/libds3000.map)
endif()

# The public headers, as an integrator includes them.
foreach(header IN LISTS ds3000_public_headers)
  configure_file(${header} ${PROJECT_BINARY_DIR}/include/${header} COPYONLY)
endforeach()

# The names of the installed package serve within a build too.
set_target_properties(ds3000 PROPERTIES EXPORT_NAME chip)
set_target_properties(ds3000_plugin_api PROPERTIES EXPORT_NAME plugin_api)
set_target_properties(ds3000_headers PROPERTIES EXPORT_NAME headers)
add_library(ds3000::chip ALIAS ds3000)
add_library(ds3000::plugin_api ALIAS ds3000_plugin_api)
if(DS3000_SHARED_LIBRARY)
  add_library(ds3000::chip_shared ALIAS ds3000_shared)
endif()
