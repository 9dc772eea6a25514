#!/bin/sh
# GStreamer composes the sample title over the sample background with each mixer, and every pixel is the library's.
# usage: test_gstreamer.sh MODULES EXPECTED_FRAME MEDIA SCRATCH
set -eu
modules=$1
expected_frame=$2
media=$3
scratch=$4

rm -rf "$scratch"
mkdir -p "$scratch"
export FREI0R_PATH="$modules" GST_REGISTRY="$scratch/registry"
for element in pngdec imagefreeze videoconvert frei0r-mixer-qxsblend; do
    gst-inspect-1.0 --exists $element 2>/dev/null || {
        echo "SKIPPED: GStreamer with its frei0r plugin is not installed: no $element"
        exit 77
    }
done

video() { echo "filesrc location=$media/$1.png ! pngdec ! imagefreeze num-buffers=2 ! videoconvert"; }
failures=0
for family in blend lblend sblend; do
    for opacity in 1 0.5; do
        opacity256=$(echo $opacity | awk '{ print $1 * 256 }')
        "$expected_frame" "$media/background.png" "$media/title.png" $family "$opacity256" >"$scratch/expected"
        cat "$scratch/expected" "$scratch/expected" >"$scratch/frames.expected"
        rm -f "$scratch/frames"
        # shellcheck disable=SC2046  # words on purpose
        timeout 60 gst-launch-1.0 frei0r-mixer-qx$family name=mix opacity=$opacity ! filesink location="$scratch/frames" \
            $(video background) ! mix.sink_0 $(video title) ! mix.sink_1 >"$scratch/log" 2>&1 </dev/null || true
        if cmp "$scratch/frames" "$scratch/frames.expected"; then
            echo "$family opacity $opacity: $(($(wc -c <"$scratch/frames") / 4)) pixels equal"
        else
            tail -n 5 "$scratch/log"
            echo "FAILED: $family opacity $opacity"
            failures=$((failures + 1))
        fi
    done
done
exit $failures
