#!/bin/bash
# Makes the recordings that tests and measurements use: make_recordings.sh FOLDER [--bench]
#
# Every picture carries its number (FrameCode.h), and the sound is a tone that changes each second: second s sounds at
# 300 + 50 * (s mod 40) Hz; a second sound track adds 4000 Hz to that. Does nothing when the recordings are there;
# several callers at once are fine. With --bench: minute.mp4 and hour.mp4 as well (about 3 GB).
set -euo pipefail
here=$(cd "$(dirname "$0")" && pwd)
folder=${1:?usage: make_recordings.sh FOLDER [--bench]}
bench=${2:-}
. "$here/making.sh"

renew 1
compile frame_source "$here/frame_source.cpp" "$here/FrameCode.h"

# make NAME WIDTH HEIGHT RATE COUNT [ffmpeg arguments after the inputs: 0 is the pictures, 1 the tone, 2 a higher one]
make() {
  local name=$1 width=$2 height=$3 rate=$4 count=$5
  shift 5
  [ -e "$name" ] && return
  local seconds
  seconds=$(awk "BEGIN { print $count / $rate }")
  ./.frame_source "$width" "$height" "$count" | ffmpeg -nostdin -v error -y \
    -f rawvideo -pix_fmt yuv420p -video_size "${width}x$height" -framerate "$rate" -i - \
    -f lavfi -i "aevalsrc='0.2*sin(2*PI*t*(300+50*mod(floor(t),40)))':s=48000:d=$seconds" \
    -f lavfi -i "aevalsrc='0.2*sin(2*PI*t*(4300+50*mod(floor(t),40)))':s=48000:d=$seconds" \
    -metadata creation_time=2024-03-05T10:20:30Z "$@" "making-$name"
  mv "making-$name" "$name"
}
aac="-c:a aac -b:a 96k"

make basic.mp4 640 360 30 1800 -map 0 -map 1 $(h264 60 0) $aac
make portrait.mp4 360 640 30 600 -map 0 -map 1 $(h264 60 0) $aac
make bframes60.mp4 640 360 60 1200 -map 0 -map 1 $(h264 120 3) $aac
make fast120.mp4 640 360 120 1200 -map 0 -map 1 $(h264 240 2) $aac
make opengop.mp4 640 360 30 600 -map 0 -map 1 $(h264 60 3) -x264-params open-gop=1 $aac
# A screen that stands still gives no pictures: gaps of 3 s (pictures 60 to 149) and 5 s (300 to 449), and odd times.
make vfr.mp4 640 360 30 600 -map 0 -map 1 $(h264 60 0) $aac -fps_mode vfr -enc_time_base 1/90000 -video_track_timescale 90000 \
  -vf "settb=1/90000,select='not(between(n,60,149)+between(n,300,449))*not(eq(mod(n,7),3))'"
make upright.mp4 360 640 30 300 -map 0 -map 1 $(h264 60 0) -vf transpose=2 $aac
if [ ! -e turned.mp4 ]; then  # coded 640x360, shown 360x640 and upright
  ffmpeg -nostdin -v error -y -i upright.mp4 -map 0 -c copy -metadata:s:v rotate=270 making-turned.mp4
  mv making-turned.mp4 turned.mp4
fi
rm -f upright.mp4
make two_audio.mp4 640 360 30 600 -map 0 -map 1 -map 2 $(h264 60 0) $aac \
  -metadata title="Two tracks" -metadata:s:v handler_name="Screen" \
  -metadata:s:a:0 language=eng -metadata:s:a:0 handler_name="App sound" \
  -metadata:s:a:1 language=deu -metadata:s:a:1 handler_name="Microphone"
make video_only.mp4 640 360 30 300 -map 0 $(h264 60 0)
[ -e audio_only.mp4 ] || { ffmpeg -nostdin -v error -y -i basic.mp4 -t 10 -map 0:a -c copy making-audio.mp4 &&
  mv making-audio.mp4 audio_only.mp4; }
make one_frame.mp4 640 360 30 1 -map 0 $(h264 60 0)
make basic.mkv 640 360 30 300 -map 0 -map 1 $(h264 60 0) $aac
make lossless.mkv 320 180 30 60 -map 0 -map 1 -c:v ffv1 -c:a vorbis -strict -2 -ac 2
[ -e fragmented.mp4 ] || { ffmpeg -nostdin -v error -y -i portrait.mp4 -map 0 -c copy \
  -movflags frag_keyframe+empty_moov making-fragmented.mp4 && mv making-fragmented.mp4 fragmented.mp4; }
# Begins between two key frames: what is decoded from the one before is hidden by an edit list.
[ -e cut_lead_in.mp4 ] || { ffmpeg -nostdin -v error -y -ss 3.3 -i basic.mp4 -t 10 -c copy making-cut.mp4 &&
  mv making-cut.mp4 cut_lead_in.mp4; }
# The sound begins after 0.4 s, the pictures half a second later.
[ -e late.mp4 ] || { ffmpeg -nostdin -v error -y -itsoffset 0.9 -t 2 -i basic.mp4 -itsoffset 0.4 -t 2 -i basic.mp4 \
  -map 0:v -map 1:a -c copy making-late.mp4 && mv making-late.mp4 late.mp4; }
# Tiny ones, to be cut at every picture: key pictures that are no fresh start (an open group, gradual refresh), in other
# containers too, and one whose index calls every picture a key picture.
tiny="-map 0 -c:v libx264 -preset veryfast -crf 24 -g 16 -keyint_min 16 -sc_threshold 0"
make tiny_open.mp4 96 64 30 64 $tiny -bf 3 -x264-params open-gop=1
make tiny_refresh.mp4 96 64 30 64 $tiny -bf 2 -x264-params intra-refresh=1
make tiny_hevc.mp4 96 64 30 64 -map 0 -c:v libx265 -preset ultrafast -crf 26 -tag:v hvc1 \
  -x265-params log-level=none:keyint=16:min-keyint=16:scenecut=0:bframes=4:open-gop=1
make tiny_closed.mp4 96 64 30 64 $tiny -bf 3
make tiny_plain.mp4 96 64 30 64 $tiny -bf 3 -coder 0
for name in tiny_open tiny_refresh tiny_hevc; do
  for kind in mkv ts; do
    [ -e $name.$kind ] || { ffmpeg -nostdin -v error -y -i $name.mp4 -c copy making-$name.$kind &&
      mv making-$name.$kind $name.$kind; }
  done
done
[ -e tiny_unmarked.mp4 ] || { LC_ALL=C sed 's/stss/free/' tiny_closed.mp4 >making-tiny.mp4 &&
  mv making-tiny.mp4 tiny_unmarked.mp4; }
make stream.ts 640 360 30 300 -map 0 -map 1 $(h264 60 2) $aac
# Cut off before its index; cut off in the middle of its pictures, index first; not a movie at all; empty.
[ -e truncated.mp4 ] || head -c 200000 basic.mp4 >truncated.mp4
[ -e damaged.mp4 ] || { ffmpeg -nostdin -v error -y -i basic.mp4 -map 0 -c copy -movflags +faststart making-damaged.mp4 &&
  head -c $(($(stat -c %s making-damaged.mp4) / 2)) making-damaged.mp4 >damaged.mp4 && rm making-damaged.mp4; }
[ -e text.mp4 ] || printf 'Shopping list\n- bread\n- milk\n%.0s' $(seq 50) >text.mp4
[ -e empty.mp4 ] || : >empty.mp4

if [ "$bench" = --bench ]; then
  make minute.mp4 1920 1080 60 3600 -map 0 -map 1 -c:v libx264 -preset superfast -b:v 6M -g 120 -keyint_min 120 \
    -sc_threshold 0 -bf 0 $aac
  if [ ! -e hour.mp4 ]; then
    for _ in $(seq 60); do echo "file minute.mp4"; done >.minutes
    ffmpeg -nostdin -v error -y -f concat -i .minutes -map 0 -c copy making-hour.mp4
    mv making-hour.mp4 hour.mp4
  fi
fi
renewed
