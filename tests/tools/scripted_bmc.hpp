// SPDX-License-Identifier: Apache-2.0
// A scripted BMC for follow's tests: a SEL and an SDR repository held as records with IDs, each
// naming the next, one reservation another client may cancel, and misbehaviour on cue. A row is a
// script of what the BMC does between steps and what follow must make of it, step by step.
//
// Script words. The SEL: +N (N records logged), clear, del (the first record deleted), rewrite (the
// last record replaced, two more logged), full / room (the overflow flag), gap (the next record
// numbered 10 further on), hide:N (the last record answered "not present" N more times), relabel
// (the last record's bytes carry another ID), short / long / empty / busy / ff (the next Get SEL
// Entry's answer). The SDR repository: sdr:L or sdr:LxN (a record, or N, with an L-byte body),
// pieces (a record asked for whole is refused), lie (the last record's header claims 3 bytes more
// than its body), count:N (the record count Get SDR Repository Info reports; the records held
// unless told), nocount (that command refused). Either: loop:self / loop:back / loop:zero (the last
// record's next ID is its own, the first's, 0000h), down / up, cancel@N (another client reserves
// after N more commands), silent:N (no answer after N more commands). Steps: "." (the SEL follower
// polls), read (the SDR repository read whole). Between steps: restart (a new follower goes on from
// the position and the records told so far), restart:lag (from the position before the last step,
// its last record the last one told, as the state store resumes when the position lags the records
// it kept). A poll's notes and records go into the trace as "kind:number" and letters, a read as
// "records:N" (the first N held, byte for byte) or "none", steps apart by " |"; each step's command
// count into `commands`.
#pragma once

#include <span>

namespace diagpanel::test {

struct ScriptRow {
    const char *what;
    const char *script;
    const char *trace;
    const char *commands = nullptr; // per step, where they are the point
    bool fromStart = true;          // the follower's, else --new-only
};

// Plays each row against a BMC of its own and checks its trace and commands.
void playRows(std::span<const ScriptRow> rows);

} // namespace diagpanel::test
