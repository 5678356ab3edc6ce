# Sourced by the scripts that make recordings, which set `folder`; leaves the shell in that folder.
#
# One script at a time works in a folder; several callers at once are fine.
mkdir -p "$folder"
cd "$folder"
exec 9>.lock
flock 9

# renew VERSION: removes what an earlier version of the script made. `renewed` is the script's last line.
renew() {
  version=$1
  if [ "$(cat .version 2>/dev/null)" != "$version" ]; then
    rm -f -- *.mp4 *.mov *.mkv *.webm *.ts
  fi
}
renewed() { echo "$version" >.version; }

# compile NAME SOURCE [HEADER...]: makes the program .NAME.
compile() {
  local name=.$1 source=$2 file
  shift
  for file; do
    if [ ! -x "$name" ] || [ "$file" -nt "$name" ]; then
      "${CXX:-c++}" -std=c++20 -O2 "$source" -o "$name.new"
      mv "$name.new" "$name"
    fi
  done
}

# h264 PICTURES-BETWEEN-KEY-FRAMES B-FRAMES
h264() { echo "-c:v libx264 -preset veryfast -crf 24 -g $1 -keyint_min $1 -sc_threshold 0 -bf $2"; }
