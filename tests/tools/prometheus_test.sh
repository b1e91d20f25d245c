#!/bin/bash
# SPDX-License-Identifier: Apache-2.0
# diagpanel watch scraped by a real Prometheus: two simulated BMCs (ipmi_sim) with different SELs,
# one watcher, one Prometheus, each on a free port of 127.0.0.1 and stopped by process id. What
# Prometheus's query API, its alerts and the example console say is what replay makes of the
# records kept; a cleared fault's series goes within a few scrapes. The watcher serves over TLS with
# basic authentication: Prometheus scrapes with the credentials, a request without gets 401.
# Every wait is bounded.
#   prometheus_test.sh TOOL    exit 77 (skipped) without ipmi_sim, ipmitool, jq, curl or prometheus
# shellcheck disable=SC2016 # jq's $bmc expands in jq
set -u
tool=$1
for needed in ipmi_sim ipmitool jq curl prometheus; do command -v $needed >/dev/null || { echo "no $needed"; exit 77; }; done
examples=$(cd "$(dirname "$0")/../../docs/examples" && pwd)
libraries=/usr/share/doc/prometheus/examples/console_libraries # where Debian puts them
work=$(mktemp -d)
pids=()
trap 'kill "${pids[@]}" 2>/dev/null; wait 2>/dev/null; rm -rf "$work"' EXIT
fail() { echo "FAILED: $*"; tail -n 20 "$work"/*.err; exit 1; }
# shellcheck source=host/support/ipmi_sim.sh
. "$(dirname "$0")/../../host/support/ipmi_sim.sh"

addRecord() { ipmiSimAdd "$(cat "$work/$1/console")" "$2"; }
memory="0x10 0x00 0x00 0x00 0x20 0x00 0x04 0x0c 0x60 0x6f 0xa1 0x00 0x60"
psu="0x11 0x00 0x00 0x00 0x20 0x00 0x04 0x08 0x30 0x6f 0x01 0xff 0xff"
psuGone="0x11 0x00 0x00 0x00 0x20 0x00 0x04 0x08 0x30 0xef 0x01 0xff 0xff"
for bmc in a b; do
    mkdir -p "$work/$bmc"
    ipmiSimBmc "$work/$bmc/bmc.emu"
    ipmiSimStart "$work/$bmc" -n || fail "ipmi_sim did not start"
    pids+=("$sim")
    echo "127.0.0.1:$port" >"$work/$bmc/name"
    echo "$console" >"$work/$bmc/console"
done
addRecord a "$memory"
addRecord a "$psu"
addRecord b "$psu"
ipmitool -I lanplus -H 127.0.0.1 -p "${port}" -U admin -P secret -C 3 sdr dump "$work/sdr.bin" >/dev/null || fail "sdr dump"

echo secret >"$work/pw"
chmod 600 "$work/pw"
jq -n --arg a "$(cat "$work/a/name")" --arg b "$(cat "$work/b/name")" '[{targets: [$a, $b]}]' >"$work/targets.json"
echo "modules: {default: {user: admin, password_file: $work/pw, interval: 0.2, board: \"0x01030103\"}}
target_files: [$work/targets.json]" >"$work/watch.yml"
openssl req -x509 -newkey ec -pkeyopt ec_paramgen_curve:prime256v1 -nodes -days 1 -subj /CN=127.0.0.1 \
    -addext subjectAltName=IP:127.0.0.1 -keyout "$work/web.key" -out "$work/web.crt" 2>/dev/null || fail "openssl"
hash=$(/usr/bin/python3 -W ignore -c 'import crypt; print(crypt.crypt("scrape-pw", crypt.mksalt(crypt.METHOD_BLOWFISH)))')
printf 'tls_server_config: {cert_file: web.crt, key_file: web.key}\nbasic_auth_users: {prometheus: "%s"}\n' "$hash" >"$work/web.yml"
timeout 120 "$tool" watch --config "$work/watch.yml" --state-dir "$work/state" --listen 127.0.0.1:0 \
    --web-config "$work/web.yml" 2>"$work/watch.err" &
pids+=($!)
for _ in $(seq 100); do grep -q "metrics on https://" "$work/watch.err" && break; sleep 0.1; done
metrics=$(sed -n 's|.*metrics on https://\(127.0.0.1:[0-9]*\)/metrics.*|\1|p' "$work/watch.err")
[ -n "$metrics" ] || fail "the watcher does not say where its metrics are"
scrape() { curl -s -o /dev/null -w '%{http_code}' --cacert "$work/web.crt" "$@" "https://$metrics/metrics"; }
[ "$(scrape)$(scrape -u prometheus:wrong)$(scrape -u prometheus:scrape-pw)" = 401401200 ] || fail "access: $(scrape)"

# Prometheus scraping the watcher each second, its rules the example's; a taken port, another.
echo "global: {scrape_interval: 1s, evaluation_interval: 1s}
rule_files: [$examples/diagpanel-alerts.yml]
scrape_configs: [{job_name: diagpanel, scheme: https, tls_config: {ca_file: $work/web.crt},
  basic_auth: {username: prometheus, password: scrape-pw}, static_configs: [{targets: [\"$metrics\"]}]}]" >"$work/prometheus.yml"
mkdir "$work/consoles" && cp "$examples/diagpanel.html" "$work/consoles/"
for _ in 1 2 3 4 5; do
    api=http://127.0.0.1:$((20000 + RANDOM % 30000))
    prometheus --config.file="$work/prometheus.yml" --storage.tsdb.path="$work/tsdb" --web.listen-address="${api#http://}" \
        --web.console.templates="$work/consoles" --web.console.libraries="$libraries" 2>"$work/prometheus.err" &
    prom=$!
    for _ in $(seq 150); do curl -sf "$api/-/ready" >/dev/null && break 2; kill -0 $prom 2>/dev/null || break; sleep 0.1; done
    kill $prom 2>/dev/null
done
pids+=("$prom")
curl -sf "$api/-/ready" >/dev/null || fail "Prometheus not ready"

# Each BMC's entries as "type index mask level fault", from replay of its kept records and from
# Prometheus's query API and alerts (all of the sample's faults are level 3).
kept() { echo "$work/state/$(tr : - <"$work/$1/name")/records.bin"; }
replayed() {
    "$tool" replay --json --board 0x01030103 --sdr "$work/sdr.bin" "$(kept "$1")" |
        jq -c 'def hex8: "0x" + ([range(7; -1; -1) as $i | (. / pow(16; $i) | floor) % 16 | "0123456789abcdef"[.:. + 1]] | add);
               select(.kind == "summary") | [.faults[] | "\(.fault_type) \(.index) \(.mask | hex8) \(.level) \(.type) \(.index)"] | sort'
}
queried() { curl -sf "$api/api/v1/$2" | jq -c --arg bmc "$(cat "$work/$1/name")" "[$3 | select(.bmc == \$bmc) | \"\\(.type) \\(.index) \\(.mask) \\(.level) \\(.fault)\"] | sort"; }
faults() { queried "$1" "query?query=diagpanel_fault_active" '.data.result[].metric'; }
pending() { queried "$1" alerts '.data.alerts[].labels | select(.alertname == "DiagPanelFault")'; }
# Waits up to $3 s for $1 "$2" to equal $4.
waitFor() {
    for _ in $(seq $(($3 * 10))); do [ "$($1 "$2")" = "$4" ] && return 0; sleep 0.1; done
    fail "$1 of $2: $($1 "$2"), not $4"
}
# Waits up to 10 s for BMC $1 to have kept $2 records of 16 bytes.
waitKept() { for _ in $(seq 100); do [ "$(stat -c %s "$(kept "$1")" 2>/dev/null)" = $(($2 * 16)) ] && return 0; sleep 0.1; done; fail "$1 kept not $2 records"; }
waitKept a 2
waitKept b 1
for bmc in a b; do
    waitFor faults $bmc 20 "$(replayed $bmc)"
    waitFor pending $bmc 5 "$(replayed $bmc)"
done
[ "$(replayed a | jq length)$(replayed b | jq length)" = 21 ] || fail "replay: $(replayed a) $(replayed b)"
curl -sf "$api/consoles/diagpanel.html" >"$work/console.html" || fail "no console"
grep -q "<td>$(cat "$work/a/name")</td><td>memory B3</td>" "$work/console.html" || fail "the console lacks a's memory B3"

# a's power supply back: its series and alert gone within a few scrapes, b's kept.
left=$(replayed a | jq -c 'map(select(contains("memory B3")))')
addRecord a "$psuGone"
waitFor faults a 10 "$left"
waitFor pending a 5 "$left"
waitKept a 3
{ [ "$(faults a)" = "$(replayed a)" ] && [ "$(faults b)" = "$(replayed b)" ]; } || fail "after the removal: $(faults a) $(faults b)"
echo "prometheus: OK"
