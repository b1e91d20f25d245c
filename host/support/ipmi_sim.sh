# SPDX-License-Identifier: Apache-2.0
# shellcheck shell=bash
# OpenIPMI's simulated BMC (ipmi_sim) for the scripts that talk IPMI to one: sourced, not run.
# It listens on 127.0.0.1 alone, user "admin" with password "secret", its console on the next
# port; the caller stops it by its process id ($sim).
#
#   ipmiSimBmc FILE [SEL_SIZE]    writes the BMC: three named sensors, an empty SEL (1000 records)
#   ipmiSimStart WORK [OPTION...]  starts it at a free port with WORK/bmc.emu, state in WORK/state,
#                                  its log in WORK/sim.log; sets $port, $console and $sim
#   ipmiSimRun WORK [OPTION...]    starts it again at $port; fails when it does not answer
#   ipmiSimAdd CONSOLE BYTES...    adds a SEL record (type 02h, then its 13 bytes) through the
#                                  console at port CONSOLE; its answer is read before hanging up,
#                                  or the simulator dies of SIGPIPE

ipmiSimAdd() {
    local console=$1
    shift
    exec 3<>"/dev/tcp/127.0.0.1/$console" && echo "sel_add 0x20 0x02 $*" >&3 && sleep 0.2
    exec 3>&-
}

ipmiSimBmc() {
    cat >"$1" <<EOF_BMC
mc_setbmc 0x20
mc_add 0x20 0 has-device-sdrs 0x23 9 8 0x9f 0x1291 0xf02
sel_enable 0x20 ${2:-1000} 0x0a
main_sdr_add 0x20 0x30 0x00 0x51 0x01 0x37 0x20 0x00 0x30 0x00 0x00 0x00 0x00 0x00 0x00 0x00 0x00 0x00 0x00 0x00 0x00 0x00 0x00 0x00 0x00 0x00 0x00 0x00 0x00 0x00 0x00 0x00 0x00 0x00 0x00 0x00 0x00 0x00 0x00 0x00 0x00 0x00 0x00 0x00 0x00 0x00 0x00 0x00 0xcc 0x50 0x53 0x55 0x5f 0x32 0x5f 0x53 0x74 0x61 0x74 0x75 0x73
main_sdr_add 0x20 0x11 0x00 0x51 0x02 0x23 0x20 0x00 0x11 0x00 0x00 0x00 0x00 0x00 0x00 0x00 0x00 0x00 0x00 0x00 0x00 0x00 0x00 0x00 0x00 0x00 0x00 0x00 0x00 0x00 0x00 0x00 0xc8 0x30 0x33 0x2d 0x43 0x50 0x55 0x20 0x32
mc_enable 0x20
EOF_BMC
}

ipmiSimRun() {
    local work=$1
    shift
    cat >"$work/lan.conf" <<EOF_LAN
name "diagpanel"
set_working_mc 0x20
  startlan 1
    addr 127.0.0.1 $port
    priv_limit admin
    allowed_auths_admin none md2 md5 straight
    guid a123456789abcdefa123456789abcdef
  endlan
  user 2 true "admin" "secret" admin 10 none md2 md5 straight
  console 127.0.0.1 $console
EOF_LAN
    mkdir -p "$work/state"
    # <&0: a background job would otherwise read /dev/null, and a console on standard input needs
    # the caller's.
    ipmi_sim "$@" -c "$work/lan.conf" -f "$work/bmc.emu" -s "$work/state" <&0 >"$work/sim.log" 2>&1 &
    sim=$!
    for _ in $(seq 50); do
        IPMI_PASSWORD=secret ipmitool -I lanplus -H 127.0.0.1 -p "$port" -U admin -E -C 3 -N 1 -R 1 \
            mc info >/dev/null 2>&1 && return 0
        kill -0 "$sim" 2>/dev/null || break # a port was taken
        sleep 0.1
    done
    kill "$sim" 2>/dev/null
    wait "$sim" 2>/dev/null
    sim=
    return 1
}

ipmiSimStart() {
    for _ in 1 2 3 4 5; do
        port=$((20000 + RANDOM % 30000))
        console=$((port + 1))
        ipmiSimRun "$@" && return 0
    done
    return 1
}
