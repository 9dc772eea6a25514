#!/bin/sh
# How the sample pictures were made: ImageMagick's gradients and shapes, and the DejaVu font.
set -eu
cd "$(dirname "$0")"

# An evening sky with the sun going down behind three ranges of hills; opaque.
hills() { # first height, roughness, seed: a line of peaks from left to right, closed along the bottom
    awk -v base="$1" -v rough="$2" -v seed="$3" 'BEGIN {
        srand(seed); y = base; printf "0,720 "
        for (x = 0; x <= 1280; x += 16) {
            y += (rand() - 0.5) * rough - (y - base) / 12
            printf "%d,%.1f ", x, y
        }
        printf "1280,720" }'
}
convert -size 1280x720 gradient:'#20285c-#f6a35a' \
    \( -size 720x720 radial-gradient:'#fff3c4-#f6a35a00' \) -geometry +600+190 -compose screen -composite \
    -fill '#fff6dc' -draw 'circle 960,520 960,566' \
    -fill '#8d5a72' -draw "polygon $(hills 540 44 3)" \
    -fill '#553f63' -draw "polygon $(hills 600 40 8)" \
    -fill '#241f3a' -draw "polygon $(hills 660 36 5)" \
    -colors 255 -alpha set -define png:compression-level=9 -strip PNG32:background.png

# A title of the same size with a soft shadow and antialiased edges; transparent around it.
convert -size 1280x720 xc:none -font DejaVu-Sans-Bold -pointsize 150 -gravity center \
    -fill '#000000c0' -annotate +8-52 'qxpixlib' -channel RGBA -blur 0x9 \
    -fill '#fff8e8' -annotate +0-60 'qxpixlib' \
    -font DejaVu-Sans -pointsize 42 -fill '#ffe0a0d0' -annotate +0+60 'one scan line at a time' \
    -define png:compression-level=9 -strip PNG32:title.png

# The letters of the gallery's captions: a cell of 8 x 18 pixels for each character from ! to ~. The font
# advances by 0.602 of its size; in an annotation % and \ stand for themselves only when doubled.
letters=$(awk 'BEGIN { for (i = 33; i < 127; i++) printf "%s%c", i == 37 || i == 92 ? sprintf("%c", i) : "", i }')
convert -size 752x18 xc:none -font DejaVu-Sans-Mono -pointsize 13.29 -fill '#f0ead8' -annotate +0+14 "$letters" \
    -define png:compression-level=9 -strip PNG32:letters.png
