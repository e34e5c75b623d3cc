#!/usr/bin/env bash
# The nyx tool end to end on small generated pictures: round trips, every error message and
# exit code, no partial output on failure, batch mode on a folder.
#   test_tool.sh NYX_BINARY [SOURCE_DIR]
set -uo pipefail
nyx=$(realpath "$1")
here=$(cd "$(dirname "$0")" && pwd)
root=$(realpath "${2:-$here/../..}")
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
cd "$work"
failures=0

fail() {
  echo "FAIL: $*" >&2
  failures=$((failures + 1))
}
png() { python3 "$here/make_png.py" "$@"; }

# expect CODE MESSAGE_PART -- command...: the exit code, one line on stderr holding the text.
expect() {
  local code=$1 text=$2
  shift 3
  "$@" >"$work/out.txt" 2>"$work/err.txt"
  local got=$?
  [ "$got" -eq "$code" ] || fail "$* exited $got, want $code: $(cat "$work/err.txt")"
  grep -qF -- "$text" "$work/err.txt" || fail "$*: stderr lacks '$text': $(cat "$work/err.txt")"
  [ "$code" -eq 0 ] || [ "$(wc -l <"$work/err.txt")" -eq 1 ] || fail "$*: error not one line: $(cat "$work/err.txt")"
}
same() { cmp -s "$1" "$2" || fail "$1 and $2 differ${3:+ ($3)}"; }

# ---- demo: pictures and a table in which every round trip is exact ----
"$nyx" demo demo >demo.txt 2>demo.err || fail "demo exited $?: $(cat demo.err)"
for f in zoneplate.png ramp.png colour.png swap.png mirror.png; do
  [ -s "demo/$f" ] || fail "demo did not write $f"
done
grep -q "^swap RGB to BGR and back .* 0 " demo.txt || fail "demo swap row: $(cat demo.txt)"
grep -q "^mirror both axes.* 0 " demo.txt || fail "demo mirror row: $(cat demo.txt)"
[ -z "$(ls -A demo | grep '^\.')" ] || fail "demo left temporary files"
# The source of the round trips: uneven in every direction, written by the tool's own writer so
# that pictures compare as files.
png src_py.png 64 48 3 8
"$nyx" swap src_py.png --order 0,1,2 -o src.png || fail "identity swap exited $?"
src=src.png

# ---- round trips, at every row the processor runs ----
rows="generic"
for r in sse3 ssse3 sse41; do "$nyx" --row $r info >/dev/null 2>&1 && rows="$rows $r"; done
for row in $rows; do
  n() { "$nyx" --row "$row" "$@"; }
  n swap $src -o bgr.png && n swap bgr.png -o rgb.png || fail "$row: swap exited $?"
  same $src rgb.png "swap twice, $row"
  n swap $src --order 2,1,0,3 --fill 200 -o bgra.png && n swap bgra.png -o rgba.png &&
    n swap rgba.png --order 0,1,2 --drop-alpha -o back.png || fail "$row: RGBA swaps exited $?"
  same $src back.png "RGB to BGRA, AC4, RGBA to RGB, $row"
  for axis in horizontal vertical both; do
    n mirror $src --axis $axis -o m1.png && n mirror m1.png --axis $axis --in-place -o m2.png ||
      fail "$row: mirror $axis exited $?"
    same $src m2.png "mirror $axis twice, $row"
    [ "$row" = generic ] && cp m1.png "m1_$axis.png"
    same "m1_$axis.png" m1.png "mirror $axis, $row against generic"
  done
done
"$nyx" mirror $src --axis vertical -o once.png
cmp -s $src once.png && fail "mirror changed nothing"
png rgba_py.png 13 7 4 8
# Pictures compare as files once the tool's own writer made both: an identity swap first.
"$nyx" swap rgba_py.png --order 0,1,2 -o rgba.png
"$nyx" mirror rgba.png --axis both -o r1.png && "$nyx" mirror r1.png --axis both -o r2.png
same rgba.png r2.png "RGBA mirror twice"
# JPEG in and out.
"$nyx" swap $src -o pic.jpg && "$nyx" swap pic.jpg -o pic2.jpg && [ -s pic2.jpg ] ||
  fail "JPEG swap"
expect 0 "ms per call" -- "$nyx" --time swap $src -o t.png

# ---- info, help, picture kinds, the progress bar ----
"$nyx" info >info.txt || fail "info exited $?"
for line in "^processor " "^features .* sse2" "^row  *[0-3] " "^width  *\(128\|256\|512\) bits" "^primitives  *[0-9]*: SwapChannels_8u_C3R"; do
  grep -q "$line" info.txt || fail "info lacks '$line': $(cat info.txt)"
done
"$nyx" --row generic info | grep -q "^row forced  0 generic" || fail "info does not show the forced row"
"$nyx" --help | grep -q "Exit codes" || fail "--help exited $? or lacks the exit codes"
# Grey with alpha reads as RGBA; a mirror twice gives the same picture back.
png ga.png 11 6 2 8
"$nyx" mirror ga.png --axis both -o ga1.png && "$nyx" mirror ga1.png --axis both -o ga2.png &&
  "$nyx" swap ga.png --order 0,1,2 -o ga0.png || fail "grey+alpha exited $?"
same ga0.png ga2.png "grey with alpha, mirrored twice"
python3 -c "import sys; d=open('ga0.png','rb').read(); sys.exit(d[25] != 6)" || fail "grey+alpha not read as RGBA"
# A terminal on stderr gets a progress bar, a pipe does not.
mkdir -p bar
for i in 1 2 3; do png "bar/b$i.png" 8 8 3 8; done
if command -v script >/dev/null; then
  script -qec "'$nyx' mirror bar -d bar_out" /dev/null >bar.txt 2>&1
  grep -q '\[#*\.*\] 3/3' bar.txt || fail "no progress bar on a terminal: $(cat bar.txt)"
fi
"$nyx" mirror bar -d bar_out2 2>bar.txt
grep -q '\] 3/3' bar.txt && fail "progress bar on a pipe"
grep -q "^nyx: 3 of 3 files done, 0 failed" bar.txt || fail "batch summary: $(cat bar.txt)"

# ---- errors: one line, the named status or cause, the exit code, no output left ----
png grey.png 9 5 1 8
png deep.png 9 5 3 16
png flat.png 9 1 3 8
echo "not a picture" >junk.png
mkdir -p clean/pictures && cd clean/pictures
expect 2 "see nyx --help" -- "$nyx" swap
expect 2 "--row" -- "$nyx" --row avx9 info
expect 2 "--bogus" -- "$nyx" mirror $work/$src -o x.png --bogus
expect 2 "--axis" -- "$nyx" mirror $work/$src --axis diagonal -o x.png
expect 2 "give one input and -o" -- "$nyx" swap $work/$src
expect 2 "-o and --out-dir" -- "$nyx" swap $work/$src -o x.png -d out
expect 2 "unsupported output kind '.bmp'" -- "$nyx" swap $work/$src -o x.bmp
expect 3 "cannot open" -- "$nyx" swap $work/missing.png -o x.png
expect 3 "unsupported picture kind '.gif'" -- "$nyx" swap $work/x.gif -o x.png
expect 3 "not a readable PNG" -- "$nyx" swap $work/junk.png -o x.png
expect 3 "needs an 8-bit RGB or RGBA picture, not 8-bit with 1 channels" -- "$nyx" swap $work/grey.png -o x.png
expect 3 "not 16-bit with 3 channels" -- "$nyx" mirror $work/deep.png -o x.png
expect 1 "SwapChannels_8u_C3R returned StatusBadChannelOrder" -- "$nyx" swap $work/$src --order 2,1,3 -o x.png
expect 1 "Mirror_8u_C3R returned StatusBadSize" -- "$nyx" mirror $work/flat.png --axis horizontal -o x.png
expect 1 "Mirror_8u_C3IR returned StatusBadSize" -- "$nyx" mirror $work/flat.png --axis both --in-place -o x.png
expect 5 "grey.png/x.png: cannot write" -- "$nyx" swap $work/$src -o $work/grey.png/x.png
expect 5 "JPEG holds 8-bit grey or RGB only" -- "$nyx" swap $work/rgba.png -o x.jpg
[ -z "$(ls -A)" ] || fail "failed runs left files: $(ls -A)"
cd ../..

# ---- batch: a folder and a file, one bad input, outputs for the rest, a summary ----
mkdir -p in
for i in 1 2 3 4 5; do png "in/p$i.png" $((5 + i * 3)) $((3 + i)) 3 8; done
cp junk.png in/bad.png
"$nyx" -j 2 swap in missing.png -d out --ext .png >out.txt 2>err.txt
[ $? -eq 3 ] || fail "batch with a bad input: exit code"
grep -q "^nyx: 5 of 7 files done, 2 failed" err.txt || fail "batch summary: $(cat err.txt)"
grep -q "missing.png: cannot open" err.txt || fail "batch: missing file not named"
grep -q "in/bad.png: not a readable PNG" err.txt || fail "batch: bad file not named"
for i in 1 2 3 4 5; do
  [ -s "out/p$i.png" ] || fail "batch: out/p$i.png missing"
done
[ ! -e out/bad.png ] && [ -z "$(ls -A out | grep -v '^p[1-5].png$')" ] || fail "batch: stray files: $(ls -A out)"
"$nyx" swap out -d back >/dev/null 2>&1 || fail "batch: swap back exited $?"
"$nyx" swap in --order 0,1,2 -d norm >/dev/null 2>&1
for i in 1 2 3 4 5; do same "norm/p$i.png" "back/p$i.png" "batch round trip"; done

# ---- the families that the build exports ----
has() { "$nyx" --help 2>/dev/null | grep -q "^  $1 "; }
if has convert; then
  for set in 601 709; do
    for order in cbycr ycbcr; do
      [ "$order-$set" = ycbcr-709 ] && continue
      "$nyx" convert $src -o c.yuv --order $order --set $set &&
        "$nyx" convert c.yuv --size 64x48 -o c.png --order $order --set $set ||
        fail "convert $order $set exited $?"
      [ "$(stat -c %s c.yuv)" -eq $((64 * 48 * 2)) ] || fail "convert $order $set: raw size"
      # A second trip from the first one's picture moves the colours little.
      "$nyx" convert c.png -o c2.yuv --order $order --set $set &&
        "$nyx" convert c2.yuv --size 64x48 -o c2.png --order $order --set $set
      for row in $rows; do
        "$nyx" --row $row convert $src -o r.yuv --order $order --set $set
        [ "$row" = generic ] || [ -s r.yuv ] || fail "convert at $row"
      done
    done
  done
  expect 2 "no 709 conversion in ycbcr order" -- "$nyx" convert $src -o x.yuv --order ycbcr --set 709
  expect 2 "a raw input needs --size" -- "$nyx" convert c.yuv -o x.png
  expect 4 "holds 6144 bytes, the size given needs" -- "$nyx" convert c.yuv --size 62x48 -o x.png
  expect 2 "not WIDTHxHEIGHT" -- "$nyx" convert c.yuv --size 0x5 -o x.png
  png odd.png 7 4 3 8
  expect 4 "even width, not 7" -- "$nyx" convert odd.png -o x.yuv
  expect 2 "one side of convert is a .yuv" -- "$nyx" convert odd.png -o x.png
  [ ! -e x.yuv ] && [ ! -e x.png ] || fail "convert left an output after a failure"
fi
"$nyx" info >info.txt
exports() { grep -q " $1\( \|$\)" info.txt; }
if exports CbYCr422ToYCrCb420_8u_C2P3R; then
  for order in cbycr ycbcr; do
    "$nyx" convert $src -o f.y4m --order $order && "$nyx" convert f.y4m -o f.yuv --order $order &&
      "$nyx" convert f.yuv --size 64x48 -o f2.y4m --order $order ||
      fail "4:2:0 $order exited $?"
    same f.y4m f2.y4m "4:2:0 $order through 4:2:2 and back"
    head -c 10 f.y4m | grep -q "YUV4MPEG2 " || fail "4:2:0 $order: no YUV4MPEG2 header"
    [ "$(stat -c %s f.y4m)" -eq $((64 * 48 * 3 / 2 + $(head -2 f.y4m | wc -c))) ] ||
      fail "4:2:0 $order: file length"
    "$nyx" convert f.y4m -o f.png --order $order || fail "4:2:0 to a picture"
  done
  png odd_h.png 64 47 3 8
  expect 4 "4:2:0 needs an even width and height, not 64x47" -- "$nyx" convert odd_h.png -o x.y4m
  printf 'YUV4MPEG2 W8 H8 C422\nFRAME\n' >bad.y4m
  expect 3 "colour space C422" -- "$nyx" convert bad.y4m -o x.png
  printf 'YUV4MPEG2 W8 H8 C420jpeg\nFRAME\nshort' >short.y4m
  expect 4 "frame shorter than its header says" -- "$nyx" convert short.y4m -o x.png
fi
if has gamma; then
  "$nyx" gamma $src -o g.png && "$nyx" gamma g.png --inverse -o gi.png &&
    "$nyx" gamma $src --in-place -o g2.png || fail "gamma exited $?"
  same g.png g2.png "gamma forward, in place and not"
  cmp -s $src g.png && fail "gamma changed nothing"
  for row in $rows; do
    "$nyx" --row $row gamma $src -o g_row.png && same g.png g_row.png "gamma at $row"
  done
  "$nyx" gamma rgba.png -o ga.png || fail "gamma RGBA"
  expect 3 "needs an 8-bit RGB or RGBA" -- "$nyx" gamma grey.png -o x.png
fi
if has quality; then
  "$nyx" quality $src $src >q.txt || fail "quality exited $?"
  grep -q "^1.000000 1.000000 1.000000$" q.txt || fail "quality of a picture with itself: $(cat q.txt)"
  "$nyx" quality $src once.png >q.txt
  grep -q "^1.000000 1" q.txt && fail "quality of a mirrored zone plate is 1: $(cat q.txt)"
  expect 4 "differ in size or channels" -- "$nyx" quality $src rgba.png
  "$nyx" pattern p.png --kind zoneplate --size 64x48 && "$nyx" pattern r.png --kind ramp --size 64x48 --axis vertical ||
    fail "pattern exited $?"
  "$nyx" quality r.png r.png | grep -q "^1.000000" || fail "ramp against itself"
  expect 2 "not WIDTHxHEIGHT" -- "$nyx" pattern p.png --size 64
fi
if has demosaic; then
  for grid in bggr rggb gbrg grbg; do
    "$nyx" mosaic $src -o mo.png --grid $grid && "$nyx" demosaic mo.png -o de.png --grid $grid ||
      fail "mosaic/demosaic $grid exited $?"
    for row in $rows; do
      "$nyx" --row $row demosaic mo.png -o de_row.png --grid $grid
      same de.png de_row.png "demosaic $grid at $row"
    done
  done
  png deep_rgb.png 16 12 3 16
  "$nyx" mosaic deep_rgb.png -o mo16.png --grid rggb && "$nyx" demosaic mo16.png -o de16.png --grid rggb ||
    fail "16-bit mosaic/demosaic exited $?"
  python3 -c "import sys; d=open('de16.png','rb').read(); sys.exit(d[24] != 16 or d[25] != 2)" ||
    fail "16-bit demosaic did not write 16-bit RGB"
  expect 3 "a mosaic is a grey picture" -- "$nyx" demosaic $src -o x.png
fi
if has resize; then
  for kernel in nearest linear cubic lanczos super; do
    "$nyx" resize $src --factor 0.5 --kernel $kernel -o h.png || fail "resize $kernel exited $?"
    python3 -c "import struct,sys; d=open('h.png','rb').read(); sys.exit(struct.unpack('>II', d[16:24]) != (32, 24))" ||
      fail "resize $kernel: not 32x24"
  done
  "$nyx" resize $src --factor 1 --kernel nearest -o same.png && same $src same.png "resize by 1, nearest"
  expect 4 "the factor leaves no pixel" -- "$nyx" resize $src --factor 0.001 -o x.png
fi
if has warp; then
  for kernel in nearest linear cubic; do
    "$nyx" warp $src --shape tilt --kernel $kernel --smooth -o w.png || fail "warp $kernel exited $?"
  done
  "$nyx" warp $src --shape identity --kernel cubic -o same.png && same $src same.png "warp, identity"
  expect 1 "StatusBadCoefficients" -- "$nyx" warp $src --coeffs 1 0 0 0 1 0 0 0 0 -o x.png
fi

# ---- every status of the header has its name in the tool ----
names=$(grep -o '^  Status[A-Za-z]*' "$root/include/nyx.h")
[ -n "$names" ] || fail "no statuses found in $root/include/nyx.h"
for name in $names; do
  grep -q "\"$name\"" "$root/tool/common.cpp" || fail "no name for $name"
done

[ "$failures" -eq 0 ] && echo "all tool tests passed"
exit $((failures > 0))
