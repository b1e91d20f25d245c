#!/usr/bin/python3
# SPDX-License-Identifier: Apache-2.0
"""A stand-in BMC that misbehaves on purpose, for tests and benches.

It serves a SEL and an SDR repository over RMCP+ on 127.0.0.1 through
pyghmi's BMC side (cipher suite 3 only, no IPMI 1.5, and no answer at all to
an unknown user), and bends its answers in the one way named on the command
line (MISBEHAVIOURS). The SEL is a file of 16-byte records, served in file
order and read again whenever it changes, so that records can be logged while
it runs. It prints one line once it listens, and on SIGTERM or SIGINT how
many commands it answered, by network function and command.

  fake_bmc.py --sel FILE [--sdr FILE] [--port N] [--misbehave NAME]
              [--times K] [--delay SECONDS]
"""

import argparse
import collections
import os
import signal
import struct
import sys
import time

import pyghmi.ipmi.bmc as bmc
import pyghmi.ipmi.private.session as ipmisession

APP, STORAGE = 0x06, 0x0A
GET_DEVICE_ID = 0x01
GET_SDR_INFO, RESERVE_SDR, GET_SDR = 0x20, 0x22, 0x23
GET_SEL_INFO, RESERVE_SEL, GET_SEL_ENTRY = 0x40, 0x42, 0x43
FIRST, LAST = 0x0000, 0xFFFF  # IDs asked for; as a next ID, LAST is none
NOT_PRESENT, INVALID_COMMAND = 0xCB, 0xC1
VICTIM = 1  # the SEL record the record misbehaviours touch: the second


def late(answer):
    """An answer sent --delay seconds after its request."""
    return ('late', answer)


def le16(data, at=0):
    return struct.unpack_from('<H', data, at)[0]


# Each misbehaviour: what it does, and for the ones about the victim record,
# how its answer is bent, given the SEL's IDs, the victim's next ID and its
# bytes. An answer is (next ID, record bytes), a completion code, or late().
MISBEHAVIOURS = {
    'none': ('a BMC that behaves', None),
    'loop-self': ('the victim names itself as next',
                  lambda ids, nxt, rec: (ids[VICTIM], rec)),
    'loop-back': ('the victim names the first record as next',
                  lambda ids, nxt, rec: (ids[0], rec)),
    'next-zero': ('the victim names 0000h as next',
                  lambda ids, nxt, rec: (FIRST, rec)),
    'short': ('the victim comes 15 bytes long',
              lambda ids, nxt, rec: (nxt, rec[:15])),
    'long': ('the victim comes 17 bytes long',
             lambda ids, nxt, rec: (nxt, rec + b'\0')),
    'wrong-id': ("the victim carries the first record's ID",
                 lambda ids, nxt, rec:
                 (nxt, struct.pack('<H', ids[0]) + rec[2:])),
    'busy': ('the victim answered C0h (busy)', lambda *_: 0xC0),
    'cancelled': ('the victim answered C5h (reservation cancelled)',
                  lambda *_: 0xC5),
    'absent': ('the victim answered CBh (not present)', lambda *_: 0xCB),
    'unspecified': ('the victim answered FFh (unspecified)',
                    lambda *_: 0xFF),
    'slow': ('the victim answered --delay seconds late',
             lambda ids, nxt, rec: late((nxt, rec))),
    'more-entries': ('Get SEL Info counts 5 records more than there are',
                     None),
    'sdr-bad-length': ("the second SDR record's length byte says 8 bytes "
                       'more than it holds', None),
    'sdr-endless': ('the SDR records have no end: each names a new one '
                    'as next, the repository over and over', None),
}


def read(path):
    with open(path, 'rb') as file:
        return file.read()


def sdr_records(data):
    """The SDR records held one after another: a 5-byte header, its last
    byte the length of the body after it."""
    records = []
    while len(data) >= 5:
        records.append(data[:5 + data[4]])
        data = data[5 + data[4]:]
    return records


class FakeBmc(bmc.Bmc):
    def __init__(self, args):
        super().__init__({args.user: args.password}, port=args.port,
                         address='127.0.0.1')
        # Sessions are found by the port the socket got, not the one asked.
        self.port = self.serversocket.getsockname()[1]
        self.args = args
        self.bend = MISBEHAVIOURS[args.misbehave][1]
        self.bent = 0  # answers about the victim bent so far
        self.answered = collections.Counter()
        self.late = []  # (when, session, its request's header, the answer)
        self.sel, self.sel_stamp, self.reservation = [], None, 0
        self.sdr = sdr_records(read(args.sdr)) if args.sdr else []
        if args.misbehave == 'sdr-bad-length' and len(self.sdr) > 1:
            r = self.sdr[1]
            self.sdr[1] = r[:4] + bytes([r[4] + 8]) + r[5:]

    def reread_sel(self):
        stat = os.stat(self.args.sel)
        if (stat.st_mtime_ns, stat.st_size) != self.sel_stamp:
            data = read(self.args.sel)
            self.sel = [data[i:i + 16] for i in range(0, len(data) - 15, 16)]
            self.sel_stamp = (stat.st_mtime_ns, stat.st_size)

    def sel_info(self):
        extra = 5 if self.args.misbehave == 'more-entries' else 0
        added = self.sel_stamp[0] // 10**9 & 0xFFFFFFFF
        return [0x51] + list(struct.pack('<HHIIB', len(self.sel) + extra,
                                         0x1000, added, 0, 0x02))

    def sel_entry(self, data):
        ids = [le16(r) for r in self.sel]
        asked = le16(data, 2)
        at = {FIRST: 0, LAST: len(ids) - 1}.get(
            asked, ids.index(asked) if asked in ids else -1)
        if not self.sel or at < 0:
            return NOT_PRESENT
        nxt = ids[at + 1] if at + 1 < len(ids) else LAST
        if at == VICTIM and self.bend:
            self.bent += 1
            if not self.args.times or self.bent <= self.args.times:
                return self.bend(ids, nxt, self.sel[at])
        return (nxt, self.sel[at])

    def sdr_info(self):
        count = len(self.sdr)
        if self.args.misbehave == 'sdr-endless':
            count = 0xFFFF
        return [0x51] + list(struct.pack('<HHIIB', count, 0x1000, 0, 0, 0x02))

    def get_sdr(self, data):
        asked, n = le16(data, 2), len(self.sdr)
        if self.args.misbehave == 'sdr-endless' and n:
            # Record k is the repository's record k mod n, numbered k + 1.
            k = max(asked, 1) - 1
            record = struct.pack('<H', k + 1) + self.sdr[k % n][2:]
            nxt = (k + 1) % 0xFFFE + 1
        else:
            ids = [le16(r) for r in self.sdr]
            if asked == FIRST and n:
                k = 0
            elif asked in ids:
                k = ids.index(asked)
            else:
                return NOT_PRESENT
            record, nxt = self.sdr[k], ids[k + 1] if k + 1 < n else LAST
        offset, count = data[4], data[5]  # count FFh: to the end
        return (nxt, record[offset:offset + count])

    def reserve(self):
        self.reservation = self.reservation % 0xFFFF + 1
        return list(struct.pack('<H', self.reservation))

    def answer(self, netfn, cmd, data):
        self.reread_sel()
        if (netfn, cmd) == (APP, GET_DEVICE_ID):
            return [0x20, 0x01, 0x01, 0x00, 0x02, 0x0A, 0, 0, 0, 0, 0]
        storage = {
            GET_SEL_INFO: self.sel_info,
            RESERVE_SEL: self.reserve,
            GET_SEL_ENTRY: lambda: self.sel_entry(data),
            GET_SDR_INFO: self.sdr_info,
            RESERVE_SDR: self.reserve,
            GET_SDR: lambda: self.get_sdr(data),
        }
        if netfn != STORAGE or cmd not in storage:
            return INVALID_COMMAND
        if cmd in (GET_SEL_ENTRY, GET_SDR) and len(data) != 6:
            return 0xC7  # request data length invalid
        return storage[cmd]()

    def handle_raw_request(self, request, session):
        answer = self.answer(request['netfn'], request['command'],
                             bytes(request['data']))
        if isinstance(answer, tuple) and answer[0] == 'late':
            # What the session answers with is the last request's: keep it.
            header = (session.seqlun, session.rqlun, session.clientaddr,
                      session.clientnetfn, session.clientcommand)
            when = time.monotonic() + self.args.delay
            self.late.append((when, session, header, answer[1]))
        else:
            self.send(session, answer)

    def send(self, session, answer):
        if isinstance(answer, int):
            session.send_ipmi_response(code=answer)
        else:
            if isinstance(answer, tuple):  # a record: its next ID first
                answer = list(struct.pack('<H', answer[0]) + answer[1])
            session.send_ipmi_response(data=answer)
        netfn, cmd = session.clientnetfn - 1, session.clientcommand
        self.answered[f'{netfn:02X}h/{cmd:02X}h'] += 1

    def send_late(self):
        now = time.monotonic()
        for item in [i for i in self.late if i[0] <= now]:
            self.late.remove(item)
            _, session, header, answer = item
            (session.seqlun, session.rqlun, session.clientaddr,
             session.clientnetfn, session.clientcommand) = header
            self.send(session, answer)


def main():
    parser = argparse.ArgumentParser(
        description=__doc__.split('\n\n')[0],
        formatter_class=argparse.RawDescriptionHelpFormatter,
        epilog="misbehaviours (the victim: the SEL's second record):\n" +
        '\n'.join(f'  {k:15} {v[0]}' for k, v in MISBEHAVIOURS.items()))
    parser.add_argument('--sel', required=True,
                        help='16-byte records, read again when it changes')
    parser.add_argument('--sdr', help='SDR records one after another')
    parser.add_argument('--port', type=int, default=0,
                        help='UDP port on 127.0.0.1 (0: a free one)')
    parser.add_argument('--user', default='admin')
    parser.add_argument('--password', default='secret')
    parser.add_argument('--misbehave', default='none', choices=MISBEHAVIOURS)
    parser.add_argument('--times', type=int, default=0,
                        help='bend the first K answers about the victim '
                        '(0: all)')
    parser.add_argument('--delay', type=float, default=4.0,
                        help="seconds a 'slow' answer waits (4: past a "
                        '3 s session time-out)')
    args = parser.parse_args()

    # pyghmi's I/O thread is woken through a socket of its own: the BMC's.
    ipmisession.myself = '127.0.0.1'
    server = FakeBmc(args)

    def stop(*_):
        counts = ', '.join(f'{c}: {n}'
                           for c, n in sorted(server.answered.items()))
        total = sum(server.answered.values())
        print(f'fake_bmc: answered {total} commands ({counts})', flush=True)
        sys.exit(0)

    signal.signal(signal.SIGTERM, stop)
    signal.signal(signal.SIGINT, stop)
    server.reread_sel()
    print(f'fake_bmc: listening on 127.0.0.1 port {server.port}, '
          f'misbehaving: {args.misbehave}', flush=True)
    while True:
        ipmisession.Session.wait_for_rsp(timeout=0.1)
        server.send_late()


if __name__ == '__main__':
    main()
