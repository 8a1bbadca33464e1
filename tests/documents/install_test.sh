#!/usr/bin/env bash
# Installs into a staging folder and uses what is there: install_test.sh BUILD_FOLDER.
set -euo pipefail
build=$1
stage=$(mktemp -d)
trap 'rm -rf "$stage"' EXIT
fail() { echo "$*" >&2; exit 1; }

DESTDIR=$stage cmake --install "$build" --prefix /opt/zel >/dev/null
cd "$stage"
[ "$(ls)" = opt ] || fail "something was installed outside the prefix: $(ls)"
root=$stage/opt/zel
client=$root/bin/zel-client

# A path to the software camera in the client would take it by surprise where the camera's own libzel is missing.
if readelf -d "$client" | grep -E 'R(UN)?PATH'; then fail "the client has a path to a library"; fi
readelf -d "$client" | grep -q 'NEEDED.*\[libzel\.so\.1\]' || fail "the client does not need libzel.so.1"
if alone=$(env -u LD_LIBRARY_PATH "$client" --help 2>&1); then fail "the client found a libzel by itself"; fi
case $alone in *libzel.so.1*) ;; *) fail "the loader says: $alone" ;; esac

# The wrapper is the explicit choice; it finds its folder wherever the tree lies.
"$root/bin/zel-software-camera" "$client" --frames=3 --quiet --mkv=three.mkv 320 180
packets=$(ffprobe -v error -count_packets -select_streams v -show_entries stream=nb_read_packets -of csv=p=0 three.mkv)
[ "$packets" = 3 ] || fail "the recording does not hold 3 frames"
"$root/bin/zel-software-camera" --help >/dev/null
status=0; "$root/bin/zel-software-camera" >/dev/null || status=$?
[ $status -eq 2 ] || fail "the wrapper without a command gives $status"

# zel-compliance finds no library by itself either, and nothing wrong in the one that it is given.
if alone=$(env -u LD_LIBRARY_PATH "$root/bin/zel-compliance" --filter='Maps.*'); then
  fail "zel-compliance found a libzel by itself"
fi
"$root/bin/zel-software-camera" "$root/bin/zel-compliance" --filter='Library.*:Maps.*' >/dev/null ||
  fail "zel-compliance finds a fault in the software camera"

# zel-frames needs no libzel, and reads what was recorded.
if readelf -d "$root/bin/zel-frames" | grep 'libzel'; then fail "zel-frames needs libzel"; fi
rows=$("$root/bin/zel-frames" list three.mkv)
[ "$(wc -l <<<"$rows")" = 4 ] || fail "zel-frames lists: $rows"
"$root/bin/zel-frames" frame 2 -o two.png three.mkv >/dev/null
if readelf -d "$root/bin/zel-frames" | grep 'NEEDED.*libav'; then fail "zel-frames loads FFmpeg when it starts"; fi

# zel-record finds its library and its reader, and records whichever of the two starts the other.
"$root/bin/zel-software-camera" "$root/bin/zel-record" -o inner.zrec -- "$client" --frames=3 --quiet -o raw 320 180
"$root/bin/zel-record" -o outer.zrec -- "$root/bin/zel-software-camera" "$client" --frames=3 --quiet -o raw 320 180
for recording in inner.zrec outer.zrec; do
  fetches=$("$root/bin/zel-record" show --calls zel_stream_get_buffer "$recording" | grep -c ' = buffer ')
  [ "$fetches" = 3 ] || fail "$recording has $fetches frames"
done

# What a program needs that is built against the interface and run on the camera.
PKG_CONFIG_PATH=$(dirname "$(find "$root" -name zel.pc)"); export PKG_CONFIG_PATH
cat > program.c <<'EOT'
#include <zel/zel.h>
int main(void) { return zel_format_get_type() == 0; }
EOT
read -ra flags < <(pkg-config --cflags --libs zel-software-camera)
cc program.c -o program "${flags[@]}"
"$root/bin/zel-software-camera" ./program
[ -f "$(pkg-config --variable=library zel-software-camera)" ] || fail "pkg-config names a library that is not there"

for file in share/man/man1/zel-client.1 share/man/man1/zel-software-camera.1 share/man/man5/zel-camera.5 \
    share/bash-completion/completions/zel-client share/bash-completion/completions/zel-software-camera \
    share/zsh/site-functions/_zel-client share/fish/vendor_completions.d/zel-client.fish \
    share/man/man1/zel-compliance.1 share/bash-completion/completions/zel-compliance \
    share/zsh/site-functions/_zel-compliance share/fish/vendor_completions.d/zel-compliance.fish \
    share/man/man1/zel-frames.1 share/bash-completion/completions/zel-frames \
    share/zsh/site-functions/_zel-frames share/fish/vendor_completions.d/zel-frames.fish \
    share/man/man1/zel-record.1 share/bash-completion/completions/zel-record \
    share/zsh/site-functions/_zel-record share/fish/vendor_completions.d/zel-record.fish; do
  [ -s "$root/$file" ] || fail "$file is missing"
done
