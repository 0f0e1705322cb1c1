# SPDX-License-Identifier: MIT

# The driver: the chip layer and, on top of it, the plug-in. Nothing here needs more than the
# language and POSIX.

set(ds3000_public_headers
  demod/carrier.h
  demod/connect.h
  demod/ds3000_context.h
  demod/lock.h
  demod/power.h
  demod/signal_quality.h
  demod/ts_output.h
  diseqc/diseqc.h
  diseqc/unicable.h
  diseqc/user_bands.h
  hw/driver_record.h
  hw/firmware.h
  hw/hdi.h
  hw/lnb_supply.h
  hw/register_access.h
  plugin/plugin.h
  scan/blind_scan.h
  scan/scan_control.h
  scan/scan_list.h
  scan/scan_request.h
  scan/spectrum_search.h
  scan/verification.h
  tuner/signal_strength.h
  tuner/ts2022.h
  tuner/tuner_ops.h)

set(ds3000_sources
  demod/carrier.cpp
  demod/connect.cpp
  demod/connect_tables.cpp
  demod/ds3000_context.cpp
  demod/dvbs2_recovery.cpp
  demod/lock.cpp
  demod/lock_status.cpp
  demod/power.cpp
  demod/signal_quality.cpp
  demod/ts_output.cpp
  diseqc/diseqc.cpp
  diseqc/unicable.cpp
  diseqc/user_bands.cpp
  hw/firmware.cpp
  hw/lnb_supply.cpp
  hw/mcu.cpp
  hw/message.cpp
  hw/register_access.cpp
  scan/blind_scan.cpp
  scan/peak_filter.cpp
  scan/scan_control.cpp
  scan/scan_list.cpp
  scan/spectrum_search.cpp
  scan/verification.cpp
  tuner/signal_strength.cpp
  tuner/ts2022_channel.cpp
  tuner/ts2022_gain.cpp
  tuner/ts2022_power.cpp)

set(ds3000_plugin_sources
  plugin/descriptor.cpp
  plugin/driver.cpp
  plugin/tune.cpp
  plugin/worker.cpp)

add_library(ds3000_driver_flags INTERFACE)
target_compile_options(ds3000_driver_flags INTERFACE
  $<$<COMPILE_LANGUAGE:CXX>:-fno-exceptions -fno-rtti -fno-threadsafe-statics>
  -ffunction-sections -fdata-sections
  $<$<CONFIG:Release>:-Os>)
target_link_libraries(ds3000_driver_flags INTERFACE ds3000_common)

add_library(ds3000_objects OBJECT ${ds3000_sources})
target_link_libraries(ds3000_objects PUBLIC ds3000_driver_flags ds3000_firmware)
set_target_properties(ds3000_objects PROPERTIES
  CXX_VISIBILITY_PRESET hidden VISIBILITY_INLINES_HIDDEN ON)

add_library(ds3000 STATIC $<TARGET_OBJECTS:ds3000_objects> $<TARGET_OBJECTS:ds3000_firmware>)
target_link_libraries(ds3000 PUBLIC ds3000_common)

add_library(ds3000_plugin_objects OBJECT ${ds3000_plugin_sources})
target_link_libraries(ds3000_plugin_objects PUBLIC ds3000_driver_flags)
set_target_properties(ds3000_plugin_objects PROPERTIES
  CXX_VISIBILITY_PRESET hidden VISIBILITY_INLINES_HIDDEN ON)

add_library(ds3000_plugin MODULE $<TARGET_OBJECTS:ds3000_plugin_objects>)
target_link_libraries(ds3000_plugin PRIVATE ds3000 ds3000_time_calls)
target_link_options(ds3000_plugin PRIVATE
  -static-libgcc -Wl,--as-needed -Wl,--gc-sections -Wl,--exclude-libs,ALL
  -Wl,-z,relro,-z,now,-z,noexecstack)
if(DS3000_WRAPPED_TIME)
  # libgcc has a __wrap_pthread_create of its own, for split stacks; the plug-in needs nothing of it.
  target_link_options(ds3000_plugin PRIVATE -nodefaultlibs)
  target_link_libraries(ds3000_plugin PRIVATE c)
endif()
set_target_properties(ds3000_plugin PROPERTIES
  PREFIX "" OUTPUT_NAME dvb_ts_tuner_ds3000_and_ts2022)

if(DS3000_SHARED_LIBRARY)
  add_library(ds3000_shared SHARED ${ds3000_sources} $<TARGET_OBJECTS:ds3000_firmware>)
  target_link_libraries(ds3000_shared PRIVATE ds3000_driver_flags)
  set_target_properties(ds3000_shared PROPERTIES OUTPUT_NAME ds3000)
endif()

# The public headers, as an integrator includes them.
foreach(header IN LISTS ds3000_public_headers)
  configure_file(${header} ${PROJECT_BINARY_DIR}/include/ds3000/${header} COPYONLY)
endforeach()
