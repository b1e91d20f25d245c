# SPDX-License-Identifier: Apache-2.0
# Warnings for the library and everything built beside it.
set(DIAGPANEL_WARNINGS
  -Wall -Wextra -Wconversion -Wshadow -Wcast-align -Wformat=2 -Wnull-dereference
  -Wimplicit-fallthrough -Wundef -Wmissing-declarations)
