#!/usr/bin/env bash
# ansible-test sanity for the collection valdrn.bmc, every test, with the
# tools Debian packages. ansible-test installs each test's tools with pip
# into a virtual environment of its own; PyPI is out of reach here, so
# such an environment is made from Debian's packages instead (the system
# site packages), and marked as ready for ansible-test to reuse.
set -euo pipefail
cd "$(dirname "$0")/../ansible/ansible_collections/valdrn/bmc"
python=$(/usr/bin/python3 -c 'import sys; print("%d.%d" % sys.version_info[:2])')

sanity() { ansible-test sanity --local --python "$python" "$@" 2>&1 | grep -v '^WARNING: Using locale'; }

provide_environment() {  # the environment ansible-test could not fill
  local folder=$1
  sed -i 's/^include-system-site-packages = false/include-system-site-packages = true/' "$folder/pyvenv.cfg"
  echo '[]' > "$folder/meta.install.json"
  echo '{"yaml": true, "cloader": true}' > "$folder/meta.yaml.json"
  touch "$folder/marker.txt"
}

status=0
for test in $(ansible-test sanity --list-tests 2>/dev/null); do
  for attempt in 1 2 3; do
    output=$(sanity --test "$test") && { echo "$output" | tail -n +2; echo "sanity $test: passed"; break; }
    folder=$(echo "$output" | sed -n 's|.*Python [0-9.]* at "\(.*\)/bin/python" does not have pip available.*|\1|p')
    if [ -n "$folder" ] && [ "$attempt" -lt 3 ]; then
      provide_environment "$folder"
      continue
    fi
    echo "$output"
    echo "sanity $test: FAILED"
    status=1
    break
  done
done
exit "$status"
