// SPDX-License-Identifier: Apache-2.0
// Marks a definition as part of the library's exported interface; everything else stays hidden.
#pragma once

#define DIAG_PANEL_API __attribute__((visibility("default")))
