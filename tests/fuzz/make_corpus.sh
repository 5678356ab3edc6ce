#!/bin/bash
# Makes the first inputs of the fuzz targets: make_corpus.sh FOLDER [PROGRAM]. Tiny movies of every kind that FFmpeg
# writes, and those of PROGRAM (fuzz_hand_made) when it is given. Does nothing when they are there.
set -euo pipefail
folder=${1:?usage: make_corpus.sh FOLDER [PROGRAM]}
hand_made=${2:-}
mkdir -p "$folder"
[ -z "$hand_made" ] || "$hand_made" "$folder"
cd "$folder"

# movie NAME SECONDS [ffmpeg arguments; 0 is the pictures, 1 the tone]
movie() {
  local name=$1 seconds=$2
  shift 2
  [ -e "$name" ] && return
  ffmpeg -nostdin -v error -y -f lavfi -i "testsrc=s=32x32:r=10:d=$seconds" \
    -f lavfi -i "sine=f=440:r=8000:d=$seconds" -fflags +bitexact "$@" "making-$name"
  local size
  size=$(stat -c %s "making-$name")
  if [ "$size" -gt 20000 ]; then
    echo "$name is too large: $size bytes" >&2
    rm "making-$name"
    exit 1
  fi
  mv "making-$name" "$name"
}
h264="-c:v libx264 -preset ultrafast -qp 50 -g 5 -bf 0 -pix_fmt yuv420p"
both="-map 0 -map 1 $h264 -c:a aac -b:a 8k"

movie plain.mp4 1 $both
movie bframes.mp4 1 -map 0 -c:v libx264 -qp 50 -g 5 -bf 2 -x264-params open-gop=1 -pix_fmt yuv420p
movie negative.mp4 1 -map 0 -c:v libx264 -qp 50 -g 5 -bf 2 -pix_fmt yuv420p -movflags negative_cts_offsets
movie faststart.mp4 1 $both -movflags +faststart
movie fragmented.mp4 1 $both -movflags frag_keyframe+empty_moov
movie fragments_base.mp4 1 $both -movflags frag_keyframe+default_base_moof
movie fragments_each.mp4 0.5 $both -movflags frag_every_frame+empty_moov+omit_tfhd_offset
movie dash.mp4 1 $both -movflags dash+global_sidx -frag_duration 400000
movie smooth.mp4 1 $both -f ismv
movie pcm.mov 0.3 -map 0 -map 1 $h264 -c:a pcm_s16le -timecode 01:00:00:00
movie adpcm.mov 0.3 -map 1 -c:a adpcm_ima_qt
movie mpeg4.mp4 1 -map 0 -c:v mpeg4 -q:v 31 -g 4 -bf 1
movie hevc.mp4 0.5 -map 0 -c:v libx265 -x265-params log-level=error:keyint=3 -qp 50 -pix_fmt yuv420p -tag:v hvc1
movie vp9.mp4 0.5 -map 0 -c:v libvpx-vp9 -crf 60 -b:v 0
movie opus.mp4 0.5 -map 1 -ar 48000 -c:a libopus -b:a 8k
movie flac.mp4 0.3 -map 1 -c:a flac -strict -2
movie mp3.mp4 0.5 -map 1 -ar 44100 -c:a libmp3lame -b:a 8k
movie two_audio.mp4 0.5 -map 0 -map 1 -map 1 $h264 -c:a aac -b:a 8k -metadata:s:a:1 language=deu
printf '1\n00:00:00,100 --> 00:00:00,400\nA word\n\n' >.words.srt
movie text.mp4 0.5 -i .words.srt -map 0 -map 1 -map 2 $h264 -c:a aac -b:a 8k -c:s mov_text
if [ ! -e edits.mp4 ]; then
  ffmpeg -nostdin -v error -y -ss 0.3 -i plain.mp4 -c copy -fflags +bitexact making-edits.mp4
  mv making-edits.mp4 edits.mp4
fi
[ -e cut_off.mp4 ] || head -c "$(($(stat -c %s faststart.mp4) * 2 / 3))" faststart.mp4 >cut_off.mp4
rm -f .words.srt
