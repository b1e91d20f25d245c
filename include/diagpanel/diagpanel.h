/* SPDX-License-Identifier: Apache-2.0 */
/* libDiagnosticPanel: the whole interface. */
#pragma once

#include <diagpanel/types.h>

#include <diagpanel/core.h>
#include <diagpanel/display.h>
#include <diagpanel/hashtable.h>
#include <diagpanel/translate.h>
