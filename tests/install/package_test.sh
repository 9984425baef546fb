#!/usr/bin/env bash
# Builds the Debian package with CPack, inspects it, checks it with lintian
# (no error, no warning), installs it into this machine with dpkg, runs the
# installed VALDRN on the installed examples, and removes it again. Needs
# root; refuses to touch a valdrn package that was installed before it ran.
#
#   package_test.sh BUILD_DIR
set -euo pipefail
build=$(realpath "$1")
work=$(mktemp -d)
installed_here=0
cleanup() {
  if [ "$installed_here" = 1 ]; then
    dpkg -r valdrn >/dev/null 2>&1 || true
  fi
  rm -rf "$work"
}
trap cleanup EXIT
fail() { echo "FAIL: $*" >&2; exit 1; }

[ "$(id -u)" = 0 ] || fail "installing a package needs root"
if dpkg-query -W -f='${Status}' valdrn 2>/dev/null | grep -q "installed"; then
  fail "a valdrn package is already installed; remove it (dpkg -r valdrn) before this test"
fi
[ ! -e /usr/bin/VALDRN ] || fail "/usr/bin/VALDRN exists and does not belong to a valdrn package"

(cd "$build" && cpack -G DEB -B "$work/out" >"$work/cpack.log" 2>&1) || fail "cpack failed: $(cat "$work/cpack.log")"
deb=$(ls "$work"/out/valdrn_*_*.deb)
echo "built $(basename "$deb")"

# The control data.
info=$(dpkg-deb -I "$deb")
field() { dpkg-deb -f "$deb" "$1"; }
[ "$(field Package)" = valdrn ] || fail "Package: $(field Package)"
[ "$(field Version)" = "$(sed -n 's/^CMAKE_PROJECT_VERSION:STATIC=//p' "$build/CMakeCache.txt")" ] ||
  fail "Version: $(field Version)"
[ "$(field Architecture)" = "$(dpkg --print-architecture)" ] || fail "Architecture: $(field Architecture)"
depends=$(field Depends)
[[ "$depends" =~ ^libc6(\ \(\>=\ [0-9.]+\))?$ ]] || fail "Depends is not the C library alone: '$depends'"
[ "$(field Recommends)" = ipmitool ] || fail "Recommends: $(field Recommends)"
[ -n "$(field Description)" ] || fail "no Description: $info"
# Our libraries are private (lib/valdrn): nothing for ldconfig, so no
# maintainer scripts at all.
if grep -E '^ +[0-9]+ bytes, +[0-9]+ lines +\*? *(preinst|postinst|prerm|postrm)' <<<"$info"; then
  fail "the package has maintainer scripts: $info"
fi
echo "control: Depends: $depends; Recommends: $(field Recommends); Maintainer: $(field Maintainer)"

# The files.
contents=$(dpkg-deb -c "$deb" | awk '{print $6}')
expected=(./usr/bin/VALDRN ./usr/lib/valdrn/libopenraw.so ./usr/lib/valdrn/libkcsio.so
          ./usr/share/man/man1/VALDRN.1.gz ./usr/share/doc/valdrn/README.md
          ./usr/share/doc/valdrn/LICENSE ./usr/share/doc/valdrn/copyright
          ./usr/share/doc/valdrn/changelog.gz
          ./usr/share/doc/valdrn/sdr-text-format.md ./usr/share/doc/valdrn/sdr-binary-formats.md
          ./usr/share/doc/valdrn/fru-text-format.md ./usr/share/doc/valdrn/intf-ini.md
          ./usr/share/doc/valdrn/bmc-access.md ./usr/share/doc/valdrn/safety.md
          ./usr/share/doc/valdrn/result.md ./usr/share/doc/valdrn/result.schema.json
          ./usr/share/doc/valdrn/examples/ToBMC.sdr ./usr/share/doc/valdrn/examples/ToBMC.sdr.bin
          ./usr/share/doc/valdrn/examples/ServerBoard.fru ./usr/share/doc/valdrn/examples/ServerBoard.fru.bin)
for file in "${expected[@]}"; do
  grep -qxF "$file" <<<"$contents" || fail "$file is not in the package"
done
if grep -E 'test|fuzz|bench|\.a$|\.h$' <<<"$contents"; then
  fail "the package holds build or test files"
fi
echo "contents: $(grep -vc '/$' <<<"$contents") files"

# The copyright file in Debian's machine-readable format, naming the licence.
copyright=$(dpkg-deb --fsys-tarfile "$deb" | tar -xOf - ./usr/share/doc/valdrn/copyright)
[ "$(head -n 1 <<<"$copyright")" = "Format: https://www.debian.org/doc/packaging-manuals/copyright-format/1.0/" ] ||
  fail "copyright is not machine-readable: $(head -n 3 <<<"$copyright")"
grep -qx "License: BSD-3-Clause" <<<"$copyright" || fail "copyright does not name BSD-3-Clause"
changelog=$(dpkg-deb --fsys-tarfile "$deb" | tar -xOf - ./usr/share/doc/valdrn/changelog.gz | gzip -dc)
grep -q "^valdrn ($(field Version)) " <<<"$changelog" || fail "the changelog has no entry for $(field Version)"

# Debian's own judgement of the package: no error and no warning (notes of
# the "info" level are allowed). Run as root, lintian says it would rather
# not be, on standard error.
if ! lintian --fail-on error,warning "$deb" >"$work/lintian.log" 2>"$work/lintian.err"; then
  fail "lintian: $(cat "$work/lintian.log" "$work/lintian.err")"
fi
echo "lintian: clean$([ -s "$work/lintian.log" ] && echo ": $(tr '\n' ';' <"$work/lintian.log")")"

# Install, use, remove.
installed_here=1
dpkg -i "$deb" >"$work/dpkg.log" 2>&1 || fail "dpkg -i failed: $(cat "$work/dpkg.log")"
version=$(VALDRN -version </dev/null) || fail "VALDRN -version failed"
grep -q "Version 1.24.3" <<<"$version" || fail "VALDRN -version printed: $version"
echo "installed: $(grep Version <<<"$version" | tr -s ' ')"
cd /usr/share/doc/valdrn/examples
for example in ToBMC.sdr ToBMC.sdr.bin; do
  out=$(VALDRN -t "$example" </dev/null 2>&1) || fail "VALDRN -t $example: $out"
  grep -qF "No error found in SDR file $example!" <<<"$out" || fail "VALDRN -t $example: $out"
  echo "ok: VALDRN -t $example"
done
for example in ServerBoard.fru ServerBoard.fru.bin; do
  out=$(VALDRN -t "$example" fruID=0 </dev/null 2>&1) || fail "VALDRN -t $example fruID=0: $out"
  grep -qF "No error found in FRU file $example!" <<<"$out" || fail "VALDRN -t $example fruID=0: $out"
  echo "ok: VALDRN -t $example fruID=0"
done
man -w VALDRN >/dev/null 2>&1 || [ ! -x /usr/bin/man ] || fail "man does not find the VALDRN page"
cd /
dpkg -r valdrn >"$work/dpkg.log" 2>&1 || fail "dpkg -r failed: $(cat "$work/dpkg.log")"
installed_here=0
[ ! -e /usr/bin/VALDRN ] && [ ! -e /usr/lib/valdrn ] || fail "dpkg -r left files behind"
echo "PASS: the package builds, installs, runs and is removed"
