#!/usr/bin/env bash
# Installs the build into a fresh prefix and runs the installed VALDRN:
# it must find both in-band libraries through its own RUNPATH (no
# LD_LIBRARY_PATH), and do its main job against the test BMC over LAN+.
#
#   install_tree_test.sh BUILD_DIR
set -euo pipefail
build=$(realpath "$1")
work=$(mktemp -d)
prefix=$work/prefix
bmc=$work/bmc
cleanup() {
  "$build/tests/test_bmc_ctl" stop "$bmc" >/dev/null 2>&1 || true
  rm -rf "$work"
}
trap cleanup EXIT
fail() { echo "FAIL: $*" >&2; exit 1; }
unset LD_LIBRARY_PATH
# The copies of the BMC's data the runs save stay with this test.
export VALDRN_BACKUP_DIR=$work/backups

cmake --install "$build" --prefix "$prefix" >/dev/null
for file in bin/VALDRN lib/valdrn/libopenraw.so lib/valdrn/libkcsio.so share/man/man1/VALDRN.1.gz \
            share/doc/valdrn/README.md share/doc/valdrn/LICENSE share/doc/valdrn/copyright share/doc/valdrn/changelog.gz \
            share/doc/valdrn/examples/ToBMC.sdr share/doc/valdrn/examples/ServerBoard.fru; do
  [ -f "$prefix/$file" ] || fail "$file was not installed"
done
for page in sdr-text-format sdr-binary-formats fru-text-format intf-ini bmc-access safety result; do
  [ -f "$prefix/share/doc/valdrn/$page.md" ] || fail "docs page $page.md was not installed"
done
runpath=$(readelf -d "$prefix/bin/VALDRN" | sed -n 's/.*(RUNPATH).*\[\(.*\)\]/\1/p')
[ "$runpath" = '$ORIGIN/../lib/valdrn' ] || fail "RUNPATH is '$runpath'"
echo "installed into $prefix; RUNPATH $runpath"

valdrn=$prefix/bin/VALDRN
mkdir "$work/run" && cd "$work/run"

# dlopen() must take each library from the installed tree. glibc's own
# trace says where it looked and what it took.
expect_loaded() {
  local library=$1 trace=$2
  grep -q "trying file=$prefix/bin/../lib/valdrn/$library" "$trace" ||
    fail "$library was not looked for in the installed tree: $(grep "$library" "$trace" | head -5)"
  # The loader runs a library's initialisers once it has loaded it.
  grep -q "calling init: $prefix/bin/../lib/valdrn/$library" "$trace" ||
    fail "$library was not loaded from the installed tree: $(grep "$library" "$trace" | head -5)"
}
# Default interface: libopenraw.so is loaded; without /dev/ipmi0 its open
# fails, which is reported after the load.
LD_DEBUG=libs "$valdrn" -u probe.sdr encoding=ascii </dev/null >openraw.trace 2>&1 || true
expect_loaded libopenraw.so openraw.trace
# Direct KCS: libkcsio.so is loaded, then a port line below 0x10 in
# intf.ini stops the start before any port is touched.
rm -f probe.sdr
printf 'KCS\nF\nByteBoundary\n' > intf.ini
LD_DEBUG=libs "$valdrn" -u probe.sdr encoding=ascii -msgintf kcsio </dev/null >kcsio.trace 2>&1 || true
expect_loaded libkcsio.so kcsio.trace
grep -q "KCS initialization error" kcsio.trace || fail "kcsio start did not stop at intf.ini: $(cat kcsio.trace)"
rm -f intf.ini probe.sdr
echo "both in-band libraries load from $prefix/lib/valdrn"

# The main job against the test BMC.
mkdir -p "$bmc"
# A FRU device 0 of 512 bytes: -u and -v read a whole device, 16 bytes a run.
address=$("$build/tests/test_bmc_ctl" start "$bmc" "fru=0:512")
lan=(-n lanplus -H "$address" -U admin -P secret -C 3)
cp "$prefix/share/doc/valdrn/examples/ToBMC.sdr" "$prefix/share/doc/valdrn/examples/ServerBoard.fru" .
run() {
  local expected=$1; shift
  local out
  out=$("$valdrn" "$@" </dev/null 2>&1) || fail "VALDRN $* failed: $out"
  grep -qF "$expected" <<<"$out" || fail "VALDRN $* did not say '$expected': $out"
  echo "ok: VALDRN $*"
}
run "Download SDR data Successful." -d ToBMC.sdr "${lan[@]}"
run "Start to save sdr file, FromBMC.sdr" -u FromBMC.sdr encoding=utf16 "${lan[@]}"
run "Verify SDR file FromBMC.sdr with SDR repository successful!" -v FromBMC.sdr "${lan[@]}"
run "Verify SDR file ToBMC.sdr with SDR repository successful!" -v ToBMC.sdr "${lan[@]}"
run "Download FRU data successful." -d ServerBoard.fru fruID=0 "${lan[@]}"
run "Upload FRU data successful." -u FromBMC.fru encoding=utf8 fruID=0 "${lan[@]}"
run "Verify FRU file FromBMC.fru with FRU inventory successful!" -v FromBMC.fru fruID=0 "${lan[@]}"
[ "$(head -c 2 FromBMC.sdr | od -An -tx1 | tr -d ' ')" = fffe ] || fail "FromBMC.sdr is not UTF-16"
echo "PASS: the installed VALDRN works from $prefix"
