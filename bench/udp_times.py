#!/usr/bin/python3
# SPDX-License-Identifier: Apache-2.0
"""Prints the arrival time of every UDP datagram sent to 127.0.0.1:PORT on the loopback, one a
line, until SIGTERM: the BMC's own count of the commands it is sent, without slowing the BMC
down. Needs CAP_NET_RAW (root).
    udp_times.py PORT"""
import signal
import socket
import struct
import sys

ETH_P_ALL = 0x0003
port = int(sys.argv[1])
signal.signal(signal.SIGTERM, lambda *_: sys.exit(0))
sniffer = socket.socket(socket.AF_PACKET, socket.SOCK_RAW, socket.ntohs(ETH_P_ALL))
sniffer.bind(("lo", 0))
sniffer.setsockopt(socket.SOL_SOCKET, socket.SO_RCVBUF, 1 << 24)
SO_TIMESTAMPNS = 35  # the kernel's time of arrival, whatever this script's own pace
sniffer.setsockopt(socket.SOL_SOCKET, SO_TIMESTAMPNS, 1)
print("ready", flush=True)
try:
    while True:
        frame, ancillary, _, (_, _, kind, _, _) = sniffer.recvmsg(128, 64)
        if kind == socket.PACKET_OUTGOING:
            continue  # the loopback shows each datagram twice: once going, once coming
        ip = frame[14:]
        if len(ip) < 28 or ip[9] != socket.IPPROTO_UDP:
            continue
        header = (ip[0] & 0x0F) * 4
        if struct.unpack_from("!H", ip, header + 2)[0] == port:
            seconds, nanoseconds = struct.unpack("qq", ancillary[0][2][:16])
            print(f"{seconds}.{nanoseconds:09d}", flush=False)
except SystemExit:
    sys.stdout.flush()
