#!/bin/bash
# Makes the recordings of the export matrix: make_matrix.sh FOLDER
#
# One for each kind of source that the exporter must cut right: codecs, frame rates, sound tracks, containers, tables.
# Every picture carries its number (../../data/FrameCode.h). The sound glides, so that each moment of it is unlike any
# other: the first track rises from 400 Hz by 300 Hz a second, the second falls from 3500 Hz as fast, the third sways.
# Does nothing when the recordings are there; several callers at once are fine.
set -euo pipefail
here=$(cd "$(dirname "$0")" && pwd)
folder=${1:?usage: make_matrix.sh FOLDER}
. "$here/../../data/making.sh"

renew 3
compile frame_source "$here/../../data/frame_source.cpp" "$here/../../data/FrameCode.h"
compile retable "$here/retable.cpp"

# The encoders keep quiet.
export SVT_LOG=1
seconds=8 size=320x180
# make NAME RATE [ffmpeg arguments after the inputs: 0 is the pictures, 1 to 3 are the sounds]
make() {
  local name=$1 rate=$2
  shift 2
  [ -e "$name" ] && return
  local count
  count=$(awk "BEGIN { print int($seconds * $rate + 0.5) }")
  ./.frame_source "${size%x*}" "${size#*x}" "$count" | ffmpeg -nostdin -v error -y \
    -f rawvideo -pix_fmt yuv420p -video_size $size -framerate "$rate" -i - \
    -f lavfi -i "aevalsrc='0.2*sin(2*PI*(400*t+150*t*t))':s=48000:d=$seconds" \
    -f lavfi -i "aevalsrc='0.2*sin(2*PI*(3500*t-150*t*t))':s=48000:d=$seconds" \
    -f lavfi -i "aevalsrc='0.2*sin(2*PI*900*t+400*sin(t))':s=48000:d=$seconds" \
    -metadata creation_time=2024-03-05T10:20:30Z "$@" "making-$name"
  mv "making-$name" "$name"
}
# copy NAME SOURCE [arguments]: the same media, packed otherwise
copy() {
  local name=$1 source=$2
  shift 2
  [ -e "$name" ] && return
  ffmpeg -nostdin -v error -y -i "$source" -map 0 -c copy "$@" "making-$name"
  mv "making-$name" "$name"
}
hevc() { echo "-c:v libx265 -preset ultrafast -crf 26 -x265-params log-level=none:keyint=$1:min-keyint=$1:scenecut=0:bframes=$2${3:+:$3}"; }
# Without noise substitution, which no two decodings fill in alike.
aac="-c:a aac -b:a 96k -aac_pns 0"

# Pictures.
make h264.mp4 30 -map 0 -map 1 $(h264 60 0) $aac
make bframes.mp4 60 -map 0 -map 1 $(h264 120 3) -x264-params b-pyramid=normal $aac
make opengop.mp4 30 -map 0 -map 1 $(h264 60 3) -x264-params open-gop=1 $aac
make refresh.mp4 30 -map 0 -map 1 -c:v libx264 -preset veryfast -crf 24 -x264-params intra-refresh=1:keyint=60:scenecut=0:bframes=0 $aac
make refreshb.mp4 30 -map 0 -map 1 -c:v libx264 -preset veryfast -crf 24 -x264-params intra-refresh=1:keyint=60:scenecut=0:bframes=2 $aac
make hevcrefresh.mp4 30 -map 0 -map 1 $(hevc 60 0 intra-refresh=1) -tag:v hvc1 $aac
make intra.mp4 30 -map 0 -map 1 $(h264 1 0) $aac
make hvc1.mp4 30 -map 0 -map 1 $(hevc 60 3 open-gop=0) -tag:v hvc1 $aac
make hev1.mp4 30 -map 0 -map 1 $(hevc 60 0 open-gop=0) -tag:v hev1 $aac
make hevcopen.mp4 30 -map 0 -map 1 $(hevc 60 4 open-gop=1) -tag:v hvc1 $aac
make av1.mp4 30 -map 0 -map 1 -c:v libsvtav1 -preset 10 -crf 35 -g 60 $aac
make vp9.mp4 30 -map 0 -map 1 -c:v libvpx-vp9 -deadline realtime -cpu-used 8 -row-mt 1 -b:v 600k -g 60 -c:a libopus -b:a 96k
# A screen that stands still gives no pictures: gaps of 0.5 s and 1.5 s, and odd times.
make vfr.mp4 30 -map 0 -map 1 $(h264 60 2) $aac -fps_mode vfr -enc_time_base 1/90000 -video_track_timescale 90000 \
  -vf "settb=1/90000,select='not(between(n,40,54)+between(n,130,174))*not(eq(mod(n,7),3))'"
make film.mp4 24000/1001 -map 0 -map 1 $(h264 48 2) $aac
make fast.mp4 120 -map 0 -map 1 $(h264 240 2) $aac
[ -e turned.mp4 ] || { # coded 180x320, shown 320x180 and upright
  make turning.mp4 30 -map 0 -map 1 $(h264 60 2) -vf transpose=2 $aac
  copy turned.mp4 turning.mp4 -metadata:s:v rotate=270
  rm turning.mp4
}

# Sound.
make twoaudio.mp4 30 -map 0 -map 1 -map 2 $(h264 60 0) $aac -metadata title="Two tracks" \
  -metadata:s:v handler_name=Screen -metadata:s:a:0 language=eng -metadata:s:a:0 handler_name="App sound" \
  -metadata:s:a:1 language=deu -metadata:s:a:1 handler_name=Microphone
make threeaudio.mp4 30 -map 0 -map 1 -map 2 -map 3 $(h264 60 2) $aac -ar:a:1 44100 -c:a:2 libopus
make opus.mp4 30 -map 0 -map 1 $(h264 60 2) -c:a libopus -b:a 96k
make flac.mp4 30 -map 0 -map 1 $(h264 60 2) -c:a flac -strict -2
make mp3.mp4 30 -map 0 -map 1 $(h264 60 2) -c:a libmp3lame -b:a 128k -ar 44100
make ac3.mp4 30 -map 0 -map 1 $(h264 60 2) -c:a ac3 -b:a 128k
make pcm.mov 30 -map 0 -map 1 $(h264 60 2) -c:a pcm_s16le
make silent.mp4 60 -map 0 $(h264 120 2)
make longaudio.mp4 30 -map 0 -map 1 $(h264 60 2) $aac -fps_mode vfr -vf "select='lt(t,6)'"
make shortaudio.mp4 30 -map 0 -map 1 $(h264 60 2) $aac -af "aselect='lt(t,6)'"
make lateaudio.mp4 30 -map 0 -map 1 $(h264 60 2) $aac -af "asetpts=PTS+1.3/TB"
make latevideo.mp4 30 -map 0 -map 1 $(h264 60 2) $aac -vf "setpts=PTS+0.7/TB" -fps_mode vfr

# Containers and tables.
copy sidx.mp4 bframes.mp4 -movflags +dash -frag_duration 1500000
copy emptymoov.mp4 opengop.mp4 -movflags +frag_keyframe+empty_moov+default_base_moof
copy moofs.mp4 h264.mp4 -movflags +frag_keyframe+empty_moov -frag_duration 200000
copy coarse.mp4 h264.mp4 -video_track_timescale 30 -movie_timescale 600
make rough.mp4 60 -map 0 -map 1 $(h264 120 3) $aac -video_track_timescale 60 -movie_timescale 60 -brand mp42
copy negative.mp4 bframes.mp4 -movflags +negative_cts_offsets
copy faststart.mp4 bframes.mp4 -movflags +faststart
# Begins between two key frames: an edit list of its own hides what is decoded from the one before.
[ -e ownedit.mp4 ] || { ffmpeg -nostdin -v error -y -ss 1.3 -i bframes.mp4 -t 6 -c copy making-ownedit.mp4 &&
  mv making-ownedit.mp4 ownedit.mp4; }
[ -e emptyedit.mp4 ] || { ffmpeg -nostdin -v error -y -itsoffset 0.45 -i h264.mp4 -itsoffset 1.1 -i bframes.mp4 -map 1:v \
  -map 0:a -c copy making-emptyedit.mp4 && mv making-emptyedit.mp4 emptyedit.mp4; }
# retable NAME SOURCE FORM: the same media, its index in a form that the encoders never use (retable.cpp)
retable() {
  [ -e "$1" ] || { ./.retable "$3" "$2" "making-$1" && mv "making-$1" "$1"; }
}
# All tracks begin late: with empty edits, in a container without edits, and in fragments.
[ -e late.mp4 ] || { ffmpeg -nostdin -v error -y -itsoffset 5 -i bframes.mp4 -map 0 -c copy making-late.mp4 &&
  mv making-late.mp4 late.mp4; }
[ -e late.mkv ] || { ffmpeg -nostdin -v error -y -itsoffset 100 -i h264.mp4 -map 0 -c copy making-late.mkv &&
  mv making-late.mkv late.mkv; }
[ -e latemoofs.mp4 ] || { ffmpeg -nostdin -v error -y -itsoffset 5 -i h264.mp4 -map 0 -c copy \
  -movflags +frag_keyframe+delay_moov making-latemoofs.mp4 && mv making-latemoofs.mp4 latemoofs.mp4; }
retable tables.mp4 bframes.mp4 tables
retable far.mp4 bframes.mp4 far
retable edits.mp4 h264.mp4 edits
retable gap.mp4 h264.mp4 gap
# Upside down, points that are not square, metadata under keys of its own, and all that tells how to show a picture.
[ -e described.mp4 ] || {
  make plain.mp4 30 -map 0 -map 1 -map 2 $(h264 60 2) $aac -vf hflip,vflip,setsar=4/3 \
    -color_primaries bt709 -color_trc bt709 -colorspace bt709 -movflags +write_colr
  copy turned180.mp4 plain.mp4 -metadata:s:v rotate=180 -movflags +write_colr+use_metadata_tags \
    -metadata com.example.scene=Desk -metadata title="Zoë’s desk" -metadata:s:v language=nor \
    -metadata:s:a:0 language=jpn -metadata:s:a:1 language=fra
  retable described.mp4 turned180.mp4 described
  rm plain.mp4 turned180.mp4
}
[ -e hdr.mp4 ] || {
  make plain.mp4 30 -map 0 -map 1 $(hevc 60 3 open-gop=0:colorprim=bt2020:transfer=smpte2084:colormatrix=bt2020nc) \
    -pix_fmt yuv420p10le -tag:v hvc1 -color_primaries bt2020 -color_trc smpte2084 -colorspace bt2020nc \
    -movflags +write_colr $aac
  retable hdr.mp4 plain.mp4 described
  rm plain.mp4
}
copy matroska.mkv bframes.mp4
copy mp3.mkv mp3.mp4
make vorbis.mkv 30 -map 0 -map 1 $(h264 60 2) -c:a libvorbis
copy hevcrefresh.mkv hevcrefresh.mp4
copy hevcrefresh.ts hevcrefresh.mp4
copy web.webm vp9.mp4
make stream.ts 30 -map 0 -map 1 $(h264 60 2) $aac
copy hevc.ts hvc1.mp4
copy hevc.mkv hevcopen.mp4
[ -e subtitles.mp4 ] || {
  for i in 0 1 2 3 4 5 6 7; do
    printf '%d\n00:00:%02d,100 --> 00:00:%02d,900\nText %d\n\n' $((i + 1)) "$i" "$i" "$i"
  done >.subtitles.srt
  ffmpeg -nostdin -v error -y -i bframes.mp4 -f srt -i .subtitles.srt -map 0 -map 1 -c copy -c:s mov_text \
    -metadata:s:s:0 language=eng making-subtitles.mp4
  mv making-subtitles.mp4 subtitles.mp4
}
copy timecode.mov bframes.mp4 -timecode 01:00:00:00
renewed
