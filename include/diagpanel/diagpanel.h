/* SPDX-License-Identifier: Apache-2.0 */
/**
 * @file
 * libDiagnosticPanel: the whole interface.
 */
/**
 * @mainpage libDiagnosticPanel
 *
 * The C interface of libDiagnosticPanel.so.1, the library a BMC loads to drive its front-panel
 * diagnostic display. Include diagpanel.h; call DIAG_PANEL_init() once, then post SEL records
 * and display events with DIAG_PANEL_TRANS_postMessage(). Each function says which thread may
 * call it and which locks it takes.
 *
 * - types.h: integer types, status codes, fault types and every record
 * - core.h: start-up and the panel commands
 * - translate.h: the intake pipe, SEL routing and slot numbering
 * - hashtable.h: the fault table
 * - display.h: the display thread and its events
 */
#pragma once

#include <diagpanel/types.h>

#include <diagpanel/core.h>
#include <diagpanel/display.h>
#include <diagpanel/hashtable.h>
#include <diagpanel/translate.h>
