# SPDX-License-Identifier: MIT

# ds3000-ctl and what belongs to it.
install(TARGETS ds3000-ctl RUNTIME COMPONENT tool)
if(DS3000_MANUAL)
  install(DIRECTORY ${PROJECT_BINARY_DIR}/host/man/ DESTINATION ${CMAKE_INSTALL_MANDIR}/man1
    COMPONENT tool FILES_MATCHING PATTERN *.1)
endif()
install(DIRECTORY docs/schemas DESTINATION ${DS3000_DATA_INSTALL_DIR} COMPONENT tool
  FILES_MATCHING PATTERN *.json)
install(DIRECTORY docs/symptoms/ DESTINATION ${DS3000_DATA_INSTALL_DIR}/scenarios COMPONENT tool
  FILES_MATCHING PATTERN *.toml)
install(FILES cmake/60-ds3000.rules DESTINATION lib/udev/rules.d COMPONENT tool)
install(FILES host/completion/ds3000-ctl.bash
  DESTINATION ${CMAKE_INSTALL_DATADIR}/bash-completion/completions RENAME ds3000-ctl COMPONENT tool)
install(FILES host/completion/_ds3000-ctl
  DESTINATION ${DS3000_ZSH_INSTALL_DIR} COMPONENT tool)
