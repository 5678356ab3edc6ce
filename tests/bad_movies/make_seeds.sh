#!/bin/bash
# Makes the movies that are damaged on purpose: make_seeds.sh FOLDER. Tiny ones of every kind that the editor opens.
set -euo pipefail
folder=${1:?usage: make_seeds.sh FOLDER}
"$(dirname "$0")/../fuzz/make_corpus.sh" "$folder"
cd "$folder"

# movie NAME [ffmpeg arguments; 0 is the pictures, 1 the tone]
movie() {
  local name=$1
  shift
  [ -e "$name" ] && return
  ffmpeg -nostdin -v error -y -f lavfi -i testsrc=s=64x48:r=10:d=1 -f lavfi -i sine=f=440:r=48000:d=1 -map 0 -map 1 \
    "$@" "making-$name"
  mv "making-$name" "$name"
}
h264="-c:v libx264 -preset ultrafast -qp 40 -g 5 -bf 2 -pix_fmt yuv420p"
movie matroska.mkv $h264 -c:a aac
movie vp9.webm -c:v libvpx-vp9 -crf 60 -b:v 0 -deadline realtime -c:a libopus
movie vp8.webm -c:v libvpx -crf 60 -b:v 10k -deadline realtime -c:a libvorbis
movie transport.ts $h264 -c:a aac
movie mpeg4.avi -c:v mpeg4 -q:v 31 -c:a libmp3lame
movie quicktime.mov $h264 -c:a pcm_s16le
movie av1.mp4 -c:v libaom-av1 -cpu-used 8 -crf 60 -b:v 0 -c:a aac
# The largest that is opened, whole: for one test alone, and not to be damaged. The encoder has some 600 MB for a moment.
mkdir -p .large
largest="-f lavfi -i color=s=8192x4352:r=5:d=2"
[ -e .large/largest.mp4 ] || ffmpeg -nostdin -v error -y $largest -c:v libx264 -preset ultrafast -tune zerolatency \
  -g 5 -threads 1 -pix_fmt yuv420p .large/making-largest.mp4
[ -e .large/largest.mp4 ] || mv .large/making-largest.mp4 .large/largest.mp4
[ -e .large/tracks.avi ] || ffmpeg -nostdin -v error -y -i mpeg4.avi -map 0:v -map 0:v -map 0:v -c copy .large/tracks.avi
# Several screens in one, none of which is larger than usual.
if [ ! -e .large/screens.webm ]; then
  ffmpeg -nostdin -v error -y -f lavfi -i color=s=3840x2160:r=5:d=2 -c:v libvpx-vp9 -deadline realtime -cpu-used 8 \
    -g 5 .large/screen.webm
  ffmpeg -nostdin -v error -y -i .large/screen.webm -map 0 -map 0 -map 0 -map 0 -map 0 -c copy .large/making-screens.webm
  mv .large/making-screens.webm .large/screens.webm
fi
