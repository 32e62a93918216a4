# The demo's page, piece by piece. Source it, with the page's path in $page and the pictures' size in
# $width and $height.
# shellcheck shell=bash disable=SC2154

page_begin() { # TITLE LEAD
  cat >"$page" <<HTML
<!doctype html>
<html lang="en">
<meta charset="utf-8">
<meta name="viewport" content="width=device-width">
<title>$1</title>
<style>
body { font: 15px/1.45 sans-serif; max-width: 1400px; margin: 1.2em auto; padding: 0 1.2em;
  background: #f4f4f2; color: #222; }
h1 { margin: 0 0 .2em; } h2 { margin: 1.6em 0 .2em; } p { margin: .2em 0 .7em; max-width: 75em; }
.row { display: grid; grid-template-columns: repeat(3, minmax(0, 1fr)); gap: 1em; margin-bottom: 1em; }
.pair { grid-template-columns: repeat(2, minmax(0, 1fr)); }
figure { margin: 0; background: #fff; border: 1px solid #ccc; }
figure svg, figure img { display: block; width: 100%; height: auto; }
figcaption { padding: .5em .7em .6em; }
figcaption b { display: block; font-size: 1.25em; }
.old { background: #e04bb4; color: #fff; padding: 0 .3em; }
pre { background: #222; color: #eee; padding: .8em 1em; overflow: auto; }
table { border-collapse: collapse; background: #fff; } caption { text-align: left; }
td, th { border: 1px solid #ccc; padding: .25em .6em; text-align: right; }
</style>
<h1>$1</h1>
<p>$2</p>
HTML
}

page_section() { # TITLE TEXT
  printf '<h2>%s</h2>\n<p>%s</p>\n' "$1" "$2" >>"$page"
}

# Figures follow, three or two in a row, up to page_row_end.
page_row() { echo '<div class="row">' >>"$page"; }
page_pair() { echo '<div class="row pair">' >>"$page"; }

page_row_end() { echo '</div>' >>"$page"; }

# page_figure FILE TITLE TEXT [PART [MARK]]: a picture, or a part of it magnified; a frame around what
# is marked. Parts are "LEFT TOP WIDTH HEIGHT" in pixels.
page_figure() {
  local part=${4:-0 0 $width $height} mark=
  if [ -n "${5:-}" ]; then
    read -r x y w h <<<"$5"
    mark="<rect x=\"$x\" y=\"$y\" width=\"$w\" height=\"$h\" fill=\"none\" stroke=\"#ffe000\""
    mark+=" stroke-width=\"$((width / 256 + 1))\"/>"
  fi
  cat >>"$page" <<HTML
<figure><a href="$1"><svg viewBox="$part" role="img" aria-label="$2"><image href="$1"
 width="$width" height="$height"${4:+ style="image-rendering: pixelated"}/>$mark</svg></a>
<figcaption><b>$2</b>$3</figcaption></figure>
HTML
}

page_add() { cat >>"$page"; } # HTML from standard input

# page_table CAPTION: a table from standard input, the first line its head, columns parted by bars.
page_table() {
  awk -F'|' -v caption="$1" '
    BEGIN { print "<table><caption>" caption "</caption>" }
    { cell = NR == 1 ? "<th>" : "<td>"
      printf "<tr>"
      for (i = 1; i <= NF; ++i) printf "%s%s", cell, $i
      print "" }
    END { print "</table>" }' >>"$page"
}
