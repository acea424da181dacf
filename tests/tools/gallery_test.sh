#!/usr/bin/env bash
# Opens the demo gallery in headless Chromium, offline: every image on the
# page must have decoded (natural width > 0) and be shown at 1:1 (one picture
# pixel per CSS pixel, never scaled), the table of contents must link every
# section, and a screenshot must be written.
set -u
nadiro=$1
work=$2
browser=$(command -v chromium || command -v chromium-browser || true)
if [ -z "$browser" ]; then
  echo "chromium is not installed (scripts/install-deps.sh browser installs it)"
  exit 1
fi
rm -rf "$work" && mkdir -p "$work"
"$nadiro" demo --out "$work/gallery" >/dev/null || { echo "FAIL demo"; exit 1; }

# A checker page beside the gallery loads it in a frame and reports on it.
cat >"$work/gallery-check.html" <<'HTML'
<!doctype html><html><body><div id="result">pending</div>
<iframe id="g" src="gallery/index.html" width="1200" height="800"></iframe>
<script>
document.getElementById('g').addEventListener('load', () => {
  const doc = document.getElementById('g').contentDocument;
  const imgs = [...doc.images];
  const broken = imgs.filter(i => !i.complete || i.naturalWidth === 0).map(i => i.src);
  const scaled = imgs.filter(i => {
    const r = i.getBoundingClientRect();
    return r.width !== i.naturalWidth || r.height !== i.naturalHeight;
  }).map(i => i.src);
  const sections = [...doc.querySelectorAll('section[id]')].map(s => s.id);
  const links = [...doc.querySelectorAll('nav#contents a')].map(a => a.getAttribute('href').slice(1));
  const toc = links.length === sections.length && links.every((id, k) => id === sections[k]);
  document.getElementById('result').textContent =
    broken.length ? 'BROKEN ' + broken.join(' ')
    : scaled.length ? 'SCALED ' + scaled.join(' ')
    : !toc ? 'CONTENTS ' + links.join(',') + ' for ' + sections.join(',')
    : 'IMAGES-OK ' + imgs.length + ' 1:1 CONTENTS ' + sections.length;
});
</script></body></html>
HTML

flags=(--headless --no-sandbox --disable-gpu --no-first-run --disable-background-networking
       --disable-component-update --disable-sync --allow-file-access-from-files
       --virtual-time-budget=10000)
profile=$(mktemp -d)
dom=$(timeout 120 "$browser" "${flags[@]}" --user-data-dir="$profile" --dump-dom \
      "file://$work/gallery-check.html" 2>/dev/null)
result=$(printf '%s' "$dom" | grep -o '<div id="result">[^<]*' | sed 's/.*>//')
expected=$(grep -o '<img ' "$work/gallery/index.html" | wc -l)
sections=$(grep -o '<section id=' "$work/gallery/index.html" | wc -l)
rm -rf "$profile"

failures=0
if [ "$result" = "IMAGES-OK $expected 1:1 CONTENTS $sections" ] && [ "$expected" -gt 0 ] &&
   [ "$sections" -gt 5 ]; then
  echo "ok   all $expected images decoded and shown at 1:1; contents link all $sections sections"
else
  echo "FAIL images: '$result' (page has $expected)"; failures=1
fi

profile=$(mktemp -d)
timeout 120 "$browser" "${flags[@]}" --user-data-dir="$profile" --window-size=1280,2400 \
  --screenshot="$work/gallery.png" "file://$work/gallery/index.html" >/dev/null 2>&1
rm -rf "$profile"
if [ -s "$work/gallery.png" ]; then echo "ok   screenshot written"; else echo "FAIL no screenshot"; failures=1; fi
echo "$failures failed"
exit $failures
