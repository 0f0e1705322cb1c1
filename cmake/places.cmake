# SPDX-License-Identifier: MIT

# Where things lie once installed, below the prefix. The plug-in has a folder of its own: a host that
# loads all that it finds there loads nothing else.
include(GNUInstallDirs)
set(DS3000_PLUGIN_INSTALL_DIR ${CMAKE_INSTALL_LIBDIR}/ds3000)
set(DS3000_DATA_INSTALL_DIR ${CMAKE_INSTALL_DATADIR}/ds3000)
set(DS3000_ZSH_INSTALL_DIR ${CMAKE_INSTALL_DATADIR}/zsh/site-functions CACHE STRING
  "Where zsh looks for completions, below the prefix; vendor-completions in a Debian package")

# The program finds the plug-in from where itself lies, so that an installed tree can be moved.
file(RELATIVE_PATH DS3000_PLUGIN_FROM_PROGRAM
  ${CMAKE_INSTALL_FULL_BINDIR} ${CMAKE_INSTALL_FULL_LIBDIR}/ds3000)
