#!/usr/bin/env bash
# What scripts/clean_root.sh does inside the root: installs, uses and removes the packages beside it.
set -euo pipefail
srv=$(dirname "$0")
export DEBIAN_FRONTEND=noninteractive
mkdir /tmp/walk
cd /tmp/walk

say() { printf '== %s\n' "$*"; }
install() { apt-get install --yes --quiet --no-install-recommends "$@" >apt.log || { cat apt.log; exit 1; }; }

# Everything that is there, but for what apt and dpkg keep for themselves.
everything() {
  find / -xdev \( -path /proc -o -path /sys -o -path /dev -o -path /tmp -o -path /run \
    -o -path /var/lib/apt -o -path /var/lib/dpkg -o -path /var/cache -o -path /var/log \) -prune \
    -o -printf '%y %m %p %l\n' | sort
}

# typed NAME: runs the commands of README that stand behind the mark NAME, each line as it is.
typed() {
  local commands
  commands=$(sed -n "/<!-- $1 -->/,/^\`\`\`\$/p" "$srv/README.md" | sed '1,2d;$d')
  [ "$(wc -l <<<"$commands")" -ge 2 ] || { echo "README lacks the commands of $1"; exit 1; }
  bash -euxc "$commands"
}

everything >before

say "the tool and the Python package, without what is for compiling"
install "$srv"/libqrx-jpeg1_*.deb "$srv"/qrx-jpeg-tools_*.deb "$srv"/python3-qrx-jpeg_*.deb
ldconfig --print-cache | grep -q 'libqrx_jpeg.so.1 '
qrx-jpeg --version
python3 -c 'import qrx_jpeg; print(*qrx_jpeg.version())'
qrx-jpeg scene --size 320x240 . >/dev/null
mv frame00000.png picture.png
typed "first commands"
qrx-jpeg psnr picture.png back.png | awk '{ print; exit !($1 > 30) }'
qrx-jpeg encode picture.png progressive.jpg --mode progressive # by the module beside the library
qrx-jpeg info progressive.jpg | grep -i progressive
gzip --test /usr/share/man/man1/qrx-jpeg.1.gz

say "programs"
install "$srv"/libqrx-jpeg-dev_*.deb
typed "first programs"
for language in c cpp py; do
  qrx-jpeg info "first_picture_$language.jpg" | grep '640.*480'
done
for example in bottom_up udp_frames; do
  # shellcheck disable=SC2046
  cc "/usr/share/doc/libqrx-jpeg-dev/docs/examples/$example.c" -o $example \
    $(pkg-config --cflags --libs qrx_jpeg)
  ./$example | tail -n 1
done

say "what every package tells of itself"
for package in libqrx-jpeg1 libqrx-jpeg-dev qrx-jpeg-tools python3-qrx-jpeg; do
  grep -q 'has not chosen a licence' /usr/share/doc/$package/copyright
  gzip --decompress --stdout /usr/share/doc/$package/changelog.Debian.gz | head -n 1
done

say "removing"
apt-get purge --yes --quiet --autoremove libqrx-jpeg1 libqrx-jpeg-dev qrx-jpeg-tools \
  python3-qrx-jpeg >apt.log
everything >after
diff before after || { echo "removal left or took what it should not"; exit 1; }
if dpkg --list | grep qrx; then
  echo "dpkg still knows them"
  exit 1
fi
