#!/usr/bin/env bash
# Builds the fuzz preset and runs one or more targets for SECONDS each, seeded with files made
# by ffmpeg and, when present, the third-party media beside the repository.
#   fuzz/run.sh SECONDS fuzz_flac [fuzz_id3 ...]
set -euo pipefail
cd "$(dirname "$0")/.."
seconds=$1
shift
cmake --preset fuzz >/dev/null
cmake --build --preset fuzz --target "$@" >/dev/null

work=${FUZZ_WORK:-/tmp/sonvale-fuzz}
seeds=$work/seeds
mkdir -p "$seeds"
if [ ! -e "$seeds/.made" ]; then
  gen() { ffmpeg -hide_banner -loglevel error -y -f lavfi -i "sine=duration=0.2" "$@"; }
  ffmpeg -hide_banner -loglevel error -y -f lavfi -i testsrc=size=16x16 -frames:v 1 "$seeds/c.jpg"
  gen -metadata title=T -metadata artist=A -metadata track=1/2 "$seeds/a.flac"
  gen -metadata "REPLAYGAIN_TRACK_GAIN=-6.02 dB" -metadata REPLAYGAIN_ALBUM_PEAK=0.9 "$seeds/g.flac"
  gen -metadata "REPLAYGAIN_TRACK_GAIN=-6.02 dB" -metadata R128_TRACK_GAIN=-512 -id3v2_version 3 "$seeds/g.mp3"
  gen -i "$seeds/c.jpg" -map 0 -map 1 -c:v copy -disposition:v attached_pic -metadata title=T "$seeds/p.flac"
  gen -metadata title=T -id3v2_version 3 "$seeds/a3.mp3"
  gen -metadata title=T -metadata artist=A -id3v2_version 4 "$seeds/a4.mp3"
  gen -i "$seeds/c.jpg" -map 0 -map 1 -c:v copy -disposition:v attached_pic -metadata title=T "$seeds/p.mp3"
  gen -c:a aac -metadata title=T "$seeds/a.m4a"
  gen -c:a alac -metadata title=T "$seeds/b.m4a"
  gen -metadata title=T "$seeds/a.wav"
  gen -write_id3v2 1 -metadata title=T "$seeds/a.aiff"
  gen -c:a pcm_f32be -f aiff "$seeds/f.aifc"
  if [ -d ../shared/corpus/peer ]; then
    find ../shared/corpus/peer -type f ! -name '*.md' -exec cp {} "$seeds/" \;
  fi
  touch "$seeds/.made"
fi

for target in "$@"; do
  mkdir -p "$work/$target"
  echo "== $target for ${seconds}s"
  build/fuzz/fuzz/"$target" -max_total_time="$seconds" -rss_limit_mb=2048 -timeout=10 \
    -artifact_prefix="$work/$target-" -print_final_stats=1 "$work/$target" "$seeds" 2>&1 | tail -n 12
done
