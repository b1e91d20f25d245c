#!/bin/sh
# SPDX-License-Identifier: Apache-2.0
# The example alerting rules load, and fire when they should on the series of
# prometheus/alerts_test.yml (promtool's rule unit tests).
#   alerts_test.sh             exit 77 (skipped) without promtool
set -u
command -v promtool >/dev/null || { echo "no promtool"; exit 77; }
here=$(dirname "$0")
promtool check rules "$here/../../docs/examples/diagpanel-alerts.yml" || exit 1
promtool test rules "$here/prometheus/alerts_test.yml"
