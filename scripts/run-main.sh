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

step "14. Water cavitating at 293.15 K: density and sound speed from 1 MPa down to 100 Pa (vapour pressure 2339.3 Pa, 1 ppm of air)"
printf '%12s %14s %12s\n' "p [Pa]" "rho [kg/m3]" "a [m/s]"
for p in 1e6 3e5 1e5 3e4 1e4 5000 2339.3 2000 1000 500 200 100; do
    # columns 3 and 8 of the exact comma-separated output: rho and a
    "$cli" props water-cavitating --p "$p" --T 293.15 --csv | tail -n 1 |
        awk -F, '{ printf "%12s %14.6g %12.6g\n", $1, $3, $8 }'
done
"$cli" props water-cavitating --p 100 --T 293.15 | tail -n 2

step "15. Air over water: a free-surface VOF cell at 1 bar, 20 % air by volume, saved with its phases and inspected"
"$cli" props air-water-vof --p 100000 --T 293.15 --alpha 0.2,0.8
"$cli" save -o "$out/vof.mpf" air water air-water-vof
"$cli" inspect "$out/vof.mpf"

step "16. CO2 at 8 MPa across the pseudo-critical line (the real gas: density falls by a factor of three within 20 K)"
"$cli" props CO2-real --p 8e6 --T 290:340:5

step "17. R134a boiling at 1 MPa: the enthalpy rises through the dome at the saturation temperature, x from 0 to 1"
# From the liquid's h at 300 K to the vapour's at 340 K in six steps: liquid, the dome, vapour.
"$cli" props R134a-two-phase --p 1e6 --T 300:340:40
liquid=$("$cli" props R134a-two-phase --p 1e6 --T 300 --csv | tail -n 1 | cut -d, -f4)
vapour=$("$cli" props R134a-two-phase --p 1e6 --T 340 --csv | tail -n 1 | cut -d, -f4)
for f in 0.0 0.2 0.4 0.6 0.8 1.0; do
    H=$(awk -v l="$liquid" -v v="$vapour" -v f="$f" 'BEGIN { printf "%.10g", l + f * (v - l) }')
    # the header row once, then one row per state
    if [ "$f" = 0.0 ]; then lines=2; else lines=1; fi
    "$cli" invert R134a-two-phase --p 1e6 --H "$H" --T0 300 --csv | tail -n "$lines"
done

step "18. Radiation of the combustion products at 1 atm: gray gases, Planck-mean absorption and the emissivity of a 1 m path"
"$cli" radiation combustion-products --p 101325 --T 600:2400:300 --L 1

step "19. CO2 as a single-component gas on its (v, T) table, and the table file written for a product directory"
"$cli" props CO2-gas --p 5e5 --T 300:500:50
"$cli" sctable CO2 --T 320:800 --rho 0.05:200 --out "$out/SingleComponentGas.tables"

step "20. Methane-air flames at 1 atm from reactants at 298.15 K: the adiabatic flame temperature from phi = 0.6 to 1.6"
"$cli" flame methane --phi 0.6:1.6:0.1 --p 101325 --T0 298.15

step "Files are in $out"
