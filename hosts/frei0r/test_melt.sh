#!/bin/sh
# melt composes the sample title over the sample background with each mixer, and every pixel is the library's.
# usage: test_melt.sh MODULES EXPECTED_FRAME MEDIA SCRATCH
set -eu
modules=$1
expected_frame=$2
media=$3
scratch=$4

for program in melt ffmpeg; do
    command -v $program >/dev/null || {
        echo "SKIPPED: $program is not installed"
        exit 77
    }
done
rm -rf "$scratch"
mkdir -p "$scratch"
cd "$scratch"
export FREI0R_PATH="$modules" QT_QPA_PLATFORM=offscreen

failures=0
for size in 1280x720 853x481; do
    width=${size%x*} height=${size#*x}
    for picture in background title; do
        ffmpeg -v error -y -i "$media/$picture.png" -vf "crop=$width:$height:exact=1" "$picture.png"
    done
    printf '%s\n' "description=test" frame_rate_num=25 frame_rate_den=1 "width=$width" "height=$height" progressive=1 \
        sample_aspect_num=1 sample_aspect_den=1 "display_aspect_num=$width" "display_aspect_den=$height" \
        colorspace=709 >profile
    for family in blend lblend sblend; do
        for opacity in 1 0.5; do
            "$expected_frame" background.png title.png $family "$(echo "$opacity" | awk '{ print $1 * 256 }')" >expected
            for threads in none 4; do
                slices=
                [ $threads = none ] || slices="threads=$threads"
                rm -f frame
                # On a busy machine melt now and then ends before its consumer has started, with no frame at all,
                # and may end before its last frames are written: no frame is tried again, a wrong one never.
                for attempt in 1 2 3 4 5; do
                    # shellcheck disable=SC2086  # no argument where there are no slices
                    timeout 60 melt -silent -profile profile background.png out=9 -track title.png out=9 \
                        -transition frei0r.qx$family a_track=0 b_track=1 in=0 out=9 opacity=$opacity $slices \
                        -consumer avformat:frame f=rawvideo vcodec=rawvideo pix_fmt=rgba mlt_image_format=rgba an=1 \
                        real_time=-1 >melt.log 2>&1 </dev/null || true
                    [ ! -s frame ] || break
                    echo "no frame from melt, attempt $attempt"
                done
                if head -c $((4 * width * height)) frame | cmp - expected; then
                    echo "$size $family opacity $opacity threads $threads: $((width * height)) pixels equal"
                else
                    tail -n 5 melt.log
                    echo "FAILED: $size $family opacity $opacity threads $threads"
                    failures=$((failures + 1))
                fi
            done
        done
    done
done
exit $failures
