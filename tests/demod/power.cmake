# SPDX-License-Identifier: MIT
add_library(test_demod_channel OBJECT ${CMAKE_CURRENT_LIST_DIR}/channel_test.cpp)
target_link_libraries(test_demod_channel PUBLIC ds3000_common test_support)

ds3000_test(test_demod_power SOURCES power_test.cpp LIBRARIES test_demod_channel)
ds3000_test(test_demod_connect SOURCES connect_test.cpp connect_tables_test.cpp
  LIBRARIES test_demod_channel)
ds3000_test(test_demod_carrier_write SOURCES carrier_write_test.cpp LIBRARIES test_demod_channel)
ds3000_test(test_demod_ts_divider SOURCES ts_divider_test.cpp)
