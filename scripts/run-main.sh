#!/usr/bin/env bash
# A guided tour of the command-line program on a fresh build (what `make run` shows): what the
# library knows, the properties of the built-in media, what a saved factory stream looks like, and
# how a damaged one is reported.
# Usage: run-main.sh BUILD_DIR
set -euo pipefail
build=${1:-build}
cli="$build/tools/medium-physics"
out="$build/run"
[ -x "$cli" ] || { echo "run-main: $cli not found; build first (make build)" >&2; exit 1; }
mkdir -p "$out"

step() { printf '\n==== %s\n\n' "$*"; }

step "1. What this build knows: version, medium kind codes, built-in materials and media"
"$cli" info

step "2. Save a factory with no media: the smallest valid stream (11 bytes)"
"$cli" save -o "$out/empty.mpf"
od -An -tx1 "$out/empty.mpf"
"$cli" inspect "$out/empty.mpf"

step "3. Save a factory holding one medium (the obsolete cavitation placeholder) and inspect it"
# The substance entry (tag 11) comes first, then the medium that refers to it (kind 10).
"$cli" save -o "$out/obsolete-cavitation.mpf" obsolete-cavitation
"$cli" inspect "$out/obsolete-cavitation.mpf"

step "4. Inspect a copy cut short by 10 bytes: the report names the record that does not load"
size=$(stat -c %s "$out/obsolete-cavitation.mpf")
head -c $((size - 10)) "$out/obsolete-cavitation.mpf" > "$out/truncated.mpf"
# inspect exits 1 here, as it should; the tour goes on.
status=0
"$cli" inspect "$out/truncated.mpf" || status=$?
echo "(inspect exited with status $status)"

step "5. Air at 1 atm from 300 K to 2000 K"
"$cli" props air --p 101325 --T 300:2000:100

step "6. Combustion products at 1 bar: the state back from the enthalpy of 1500 K, iterating from 1000 K"
# The enthalpy is props' own h at 1500 K (column 4 of the exact comma-separated output).
H=$("$cli" props combustion-products --p 100000 --T 1500 --csv | tail -n 1 | cut -d, -f4)
"$cli" invert combustion-products --p 100000 --H "$H" --T0 1000

step "7. Water at 1 atm from 280 K to 360 K (incompressible: no gamma, M or a)"
"$cli" props water --p 101325 --T 280:360:20

step "8. Copper at 400 K"
"$cli" solid copper --T 400

step "9. Blood at 310 K: its viscosity falls with the shear rate (two rates per decade)"
# Only when the data directory has the built-in blood; props would show its mu as n/a.
# (info is read whole first: grep -q would stop reading early, and under pipefail a writer cut off
# by SIGPIPE would count as "no blood".)
materials=$("$cli" info)
if grep -qE '^  blood +non_newtonian_liquid ' <<<"$materials"; then
    "$cli" viscosity blood --T 310 --shear 0.01:1000:2 --log
else
    echo "(skipped: no built-in material \"blood\" in this build's data directory)"
fi

step "10. A water-based drilling mud (Herschel-Bulkley, yield stress 5.6 Pa) at 120 F: its viscosity grows without bound as the shear rate falls"
"$cli" viscosity drilling-mud --T 322 --shear 0.1:1000:2 --log

step "11. The saturation line of CO2 from the cubic equation of state (Soave temperature function)"
"$cli" saturation CO2 --T 220:300:20

step "12. Air behind a strong shock: chemical equilibrium at 8000 K and 0.01 kg/m3, engine beside the tables"
"$cli" props equilibrium-air --rho 0.01 --T 8000

step "13. A wind-tunnel stream at 50 K and 1 atm: below the engine's species data the tables answer alone (frozen air)"
"$cli" props equilibrium-air --p 101325 --T 50

step "14. Methane-air flames at 1 atm from reactants at 298.15 K: the adiabatic flame temperature from phi = 0.6 to 1.6"
"$cli" flame methane --phi 0.6:1.6:0.1 --p 101325 --T0 298.15

step "Files are in $out"
