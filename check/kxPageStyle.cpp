// SPDX-License-Identifier: BSD-3-Clause
#include "check/kxPageStyle.h"

namespace kxCheck {

namespace {

// Each level has a colour for drawings (l0 to l3), and two for chips: behind the text (b0 ...) and of it (t0 ...).
constexpr char colours[] = R"(
:root {
  color-scheme: light dark;
  --page: #f4f5f7; --card: #ffffff; --text: #1b1f24; --soft: #57606a; --line: #d3d8de; --link: #0a58b5;
  --l0: #5d9a74; --l1: #b08500; --l2: #d35a00; --l3: #c3141f;
  --b0: #dff1e5; --b1: #ffe38a; --b2: #ffcfa6; --b3: #c3141f;
  --t0: #14532d; --t1: #4a3600; --t2: #5c2700; --t3: #ffffff;
  --red: #c3141f; --green: #1a7a3c; --blue: #1f5fd0; --curve: #57606a;
}
@media (prefers-color-scheme: dark) {
  :root {
    --page: #15181b; --card: #1d2125; --text: #e6e8eb; --soft: #a5aeb8; --line: #3a4149; --link: #82b9ff;
    --l0: #4f8c67; --l1: #e8c33c; --l2: #ff9548; --l3: #ff6b66;
    --b0: #1f3d2b; --b1: #564500; --b2: #6b3200; --b3: #ff6b66;
    --t0: #b6e3c6; --t1: #ffe38a; --t2: #ffd3b0; --t3: #2a0304;
    --red: #ff7a75; --green: #5fcf84; --blue: #82b0ff; --curve: #a5aeb8;
  }
}
)";

constexpr char texts[] = R"(
* { box-sizing: border-box; }
html { scroll-padding-top: 1rem; }
body { margin: 0; background: var(--page); color: var(--text); font: 15px/1.45 system-ui, sans-serif; }
header.top, main { max-width: 1440px; margin: 0 auto; padding: 0 1.25rem; }
header.top { padding-top: 1.5rem; }
main { padding-bottom: 4rem; }
h1, h2, h3, h4, p, figure, ul, ol, dl { margin: 0; padding: 0; }
h1 { font-size: 1.6rem; line-height: 1.2; font-weight: 650; }
h2 { font-size: 1.15rem; font-weight: 650; overflow-wrap: anywhere; }
h3 { font-size: 1rem; font-weight: 650; margin: 1.75rem 0 .6rem; }
h4 { font-size: 1rem; font-weight: 650; font-variant-numeric: tabular-nums; overflow-wrap: anywhere; }
a { color: var(--link); }
a:focus-visible, summary:focus-visible, [tabindex]:focus-visible { outline: 3px solid var(--link); outline-offset: 2px; }
.about, .facts, .note, figcaption, dt, .steps, .places { color: var(--soft); }
.about, .facts { margin-top: .2rem; }
.note { margin-top: .5rem; }
.warning { margin: 1rem 0; padding: .6rem .9rem; background: var(--b1); color: var(--t1); border-radius: 6px;
  overflow-wrap: anywhere; }
.sequence { margin-top: 1.75rem; }
.sequence + .sequence { border-top: 1px solid var(--line); padding-top: 1.75rem; }
.overview { overflow-x: auto; margin-top: 1.25rem; background: var(--card); border: 1px solid var(--line);
  border-radius: 8px; }
table { border-collapse: collapse; width: 100%; font-variant-numeric: tabular-nums; }
th, td { text-align: right; padding: .35rem .9rem; border-top: 1px solid var(--line); white-space: nowrap; }
thead th { border-top: 0; color: var(--soft); font-weight: 500; }
tr > th:first-child { text-align: left; font-weight: 500; white-space: normal; overflow-wrap: anywhere; min-width: 12rem; }
td { color: var(--soft); }
td.news { color: var(--text); font-weight: 650; }
.chip { display: inline-block; padding: 0 .55em; border-radius: 1em; font-size: .85rem; font-weight: 600;
  white-space: nowrap; }
.chip.l0 { background: var(--b0); color: var(--t0); }
.chip.l1 { background: var(--b1); color: var(--t1); }
.chip.l2 { background: var(--b2); color: var(--t2); }
.chip.l3 { background: var(--b3); color: var(--t3); }
.counts { list-style: none; display: flex; flex-direction: column; gap: .3rem; margin-top: .8rem; }
.counts li { display: flex; gap: .5em; align-items: baseline; }
.counts b { flex: none; min-width: 3.2em; text-align: right; font-variant-numeric: tabular-nums; }
.counts a { flex: none; border-radius: 1em; }
.causes { margin-top: .5rem; overflow-wrap: anywhere; font-variant-numeric: tabular-nums; }
.causes b { font-weight: 600; }
.ways { margin-top: .5rem; font-size: .87rem; }
.list { min-width: 0; overflow-wrap: anywhere; font-variant-numeric: tabular-nums; }
)";

constexpr char drawings[] = R"(
.strip, .plot { margin-top: 1rem; }
.strip figcaption, .plot figcaption { font-size: .87rem; margin-bottom: .25rem; }
figcaption b { color: var(--text); font-weight: 600; margin-right: .35em; }
.track { position: relative; background: var(--card); border: 1px solid var(--line); border-radius: 6px; }
.track svg { display: block; width: 100%; }
.strip svg { height: 56px; padding: 4px 0 0; }
.plot svg { height: 84px; }
.strip a { cursor: pointer; }
.strip .l0 { fill: var(--l0); }
.strip .l1 { fill: var(--l1); stroke: var(--l1); }
.strip .l2 { fill: var(--l2); stroke: var(--l2); }
.strip .l3 { fill: var(--l3); stroke: var(--l3); }
.strip a path { stroke-width: 2px; vector-effect: non-scaling-stroke; }
.places { position: relative; height: 1.5em; font-size: .8rem; font-variant-numeric: tabular-nums; margin-top: .15rem; }
.places span { position: absolute; text-align: center; white-space: nowrap; }
.places span:not(:first-child, :last-child) { transform: translateX(-50%); }
.places.all { display: flex; height: auto; gap: .5rem; }
.places.all span { position: static; transform: none; flex: 1; min-width: 0; white-space: normal;
  overflow-wrap: anywhere; }
.track, .places { margin-left: 4.2rem; }
.axis { position: absolute; inset: -2px auto -2px -4.2rem; width: 3.8rem; display: flex; flex-direction: column;
  justify-content: space-between; font-size: .75rem; line-height: 1.2; color: var(--soft); text-align: right; }
.curve, .lone, .threshold, .dot, .absent { fill: none; vector-effect: non-scaling-stroke; }
.curve { stroke: var(--curve); stroke-width: 1.4px; stroke-linejoin: round; stroke-linecap: round; }
.lone { stroke: var(--curve); stroke-width: 4px; stroke-linecap: round; }
.threshold { stroke: var(--soft); stroke-width: 1px; stroke-dasharray: 5 4; }
.dot { stroke-linecap: round; stroke-width: 7px; }
.dot.l1 { stroke: var(--l1); }
.dot.l2 { stroke: var(--l2); stroke-width: 8.5px; }
.dot.l3 { stroke: var(--l3); stroke-width: 10px; }
.dense .curve { stroke-width: 1px; }
.dense .dot { stroke-width: 4px; }
.dense .dot.l2 { stroke-width: 5px; }
.dense .dot.l3 { stroke-width: 6px; }
.absent { stroke-width: 2px; }
.absent.l1 { stroke: var(--l1); }
.absent.l2 { stroke: var(--l2); }
.absent.l3 { stroke: var(--l3); }
.cursor { position: absolute; top: -4px; bottom: -4px; width: 2px; background: var(--text); pointer-events: none; }
.readout { position: absolute; top: 100%; transform: translateX(-50%); background: var(--text); color: var(--page);
  border-radius: 4px; padding: 0 .5em; font-size: .85rem; white-space: nowrap; z-index: 1; }
.histogram svg { display: block; width: 100%; height: 90px; background: var(--page); border-radius: 4px; }
.histogram figcaption { font-size: .87rem; }
.histogram path { fill: none; stroke-width: 1.8px; vector-effect: non-scaling-stroke; }
.histogram .red { stroke: var(--red); color: var(--red); }
.histogram .green { stroke: var(--green); color: var(--green); stroke-dasharray: 6 3; }
.histogram .blue { stroke: var(--blue); color: var(--blue); stroke-dasharray: 2 3; }
)";

constexpr char frames[] = R"(
.frame { background: var(--card); border: 1px solid var(--line); border-left: 5px solid var(--line);
  border-radius: 6px; padding: .8rem 1rem; margin-bottom: .8rem; content-visibility: auto;
  contain-intrinsic-size: auto 420px; }
.frame.row { padding: .35rem 1rem; margin-bottom: .35rem; content-visibility: visible; overflow-wrap: anywhere; }
.frame.brief { display: flex; flex-wrap: wrap; gap: .3rem 1rem; padding: .5rem 1rem; margin-bottom: .5rem;
  contain-intrinsic-size: auto 150px; }
.brief header { flex: 1 0 100%; margin-bottom: 0; }
.brief img { background: #000; border-radius: 3px; }
.brief .histogram { width: 210px; height: 72px; background: var(--page); border-radius: 3px; }
.brief > p { flex: 1 1 18rem; min-width: 0; overflow-wrap: anywhere; }
.brief .partial { color: var(--soft); }
h3 + .note { margin: -.3rem 0 .6rem; }
.row .steps { float: right; margin-left: .9rem; }
.batch { content-visibility: auto; contain-intrinsic-size: auto 1000px; margin-bottom: .8rem; }
.frame.row > bdi { font-weight: 650; font-variant-numeric: tabular-nums; }
.frame.l1 { border-left-color: var(--l1); }
.frame.l2 { border-left-color: var(--l2); }
.frame.l3 { border-left-color: var(--l3); }
.frame:target, .tile:target, h3:target { outline: 3px solid var(--link); outline-offset: 1px; }
.frame header { display: flex; flex-wrap: wrap; justify-content: space-between; gap: .2rem 1rem; margin-bottom: .6rem; }
.outcome { font-size: .85rem; font-weight: 500; color: var(--soft); }
.steps { display: flex; gap: .9rem; font-size: .87rem; }
.columns { display: flex; flex-wrap: wrap; gap: 1rem 1.5rem; }
.pictures { flex: 0 1 auto; max-width: 100%; }
.pictures > img, .partial img { display: block; max-width: 100%; height: auto; background: #000; border-radius: 4px; }
.around { display: flex; gap: .8rem; margin-top: .6rem; }
.around img { display: block; max-width: 100%; height: auto; border-radius: 3px; }
.around figcaption, .partial figcaption { font-size: .8rem; }
.said { flex: 1 1 20rem; min-width: 0; display: flex; flex-direction: column; gap: .7rem; }
.said:only-child { flex-flow: row wrap; gap: .7rem 3rem; }
.said:only-child > .findings { flex: 1 1 24rem; }
.said:only-child > dl { flex: 1 1 20rem; }
.findings { list-style: none; }
.findings li { overflow-wrap: anywhere; padding: .1rem 0; }
dl { display: grid; grid-template-columns: max-content minmax(0, 1fr); gap: .1rem .9rem; font-size: .92rem; }
dd { margin: 0; overflow-wrap: anywhere; font-variant-numeric: tabular-nums; white-space: pre-wrap; }
.sheet { list-style: none; display: grid; grid-template-columns: repeat(auto-fill, minmax(122px, 1fr)); gap: 8px;
  margin-bottom: 8px; content-visibility: auto; contain-intrinsic-size: auto 1200px; }
.tile { background: var(--card); border: 1px solid var(--line); border-bottom: 4px solid var(--l0); border-radius: 4px;
  overflow: hidden; }
.tile.l1 { border-color: var(--l1); }
.tile.l2 { border-color: var(--l2); border-width: 2px 2px 4px; }
.tile.l3 { border-color: var(--l3); border-width: 3px 3px 4px; }
.tile a { display: block; color: inherit; text-decoration: none; }
.tile img, .tile .none { display: block; width: 100%; aspect-ratio: 16 / 9; object-fit: contain; background: #000; }
.tile .none { background: var(--page); color: var(--soft); font-size: .8rem; padding-top: 20%; text-align: center; }
.tile .label { display: flex; justify-content: space-between; gap: .4em; padding: .1rem .4rem; font-size: .82rem;
  font-variant-numeric: tabular-nums; overflow-wrap: anywhere; }
.tile .mark { font-weight: 700; }
.tile.l0 .mark { color: var(--soft); }
@media (max-width: 600px) {
  header.top, main { padding-left: .75rem; padding-right: .75rem; }
  .places:not(.all) span:nth-child(even) { display: none; }
  .sheet { grid-template-columns: repeat(auto-fill, minmax(92px, 1fr)); }
  .track, .places { margin-left: 3.4rem; }
  .axis { left: -3.5rem; width: 3.2rem; font-size: .68rem; }
  .counts b { min-width: 0; }
}
@media print {
  .steps, .ways { display: none; }
  .frame, .tile { break-inside: avoid; content-visibility: visible; }
}
)";

// The frames of a strip are those that the page shows; a click within a few pixels of a bad one means that one.
constexpr char script[] = R"(
for (const section of document.querySelectorAll('.sequence')) {
  const strip = section.querySelector('.strip .track');
  if (!strip) continue;
  const stops = [...section.querySelectorAll('[data-i]')].map(element => ({element, i: Number(element.dataset.i)}));
  if (!stops.length) continue;
  stops.sort((a, b) => a.i - b.i);
  const count = Number(strip.parentNode.dataset.count);
  const cursor = document.createElement('div');
  const readout = document.createElement('div');
  cursor.className = 'cursor';
  readout.className = 'readout';
  const isBad = stop => !stop.element.classList.contains('l0');
  const name = stop => stop.element.querySelector('h4, .label, bdi').textContent.trim();
  let at = 0;

  const show = () => {
    const share = (stops[at].i + 0.5) / count * 100;
    cursor.style.left = 'calc(' + share + '% - 1px)';
    readout.style.left = Math.min(Math.max(share, 8), 92) + '%';
    readout.textContent = name(stops[at]);
    strip.append(cursor, readout);
    strip.setAttribute('aria-valuenow', at + 1);
    strip.setAttribute('aria-valuetext', name(stops[at]));
  };
  const hide = () => { cursor.remove(); readout.remove(); };
  const move = to => { at = Math.min(Math.max(to, 0), stops.length - 1); show(); };
  const moveToBad = step => {
    let to = at + step;
    while (stops[to] && !isBad(stops[to])) to += step;
    if (stops[to]) move(to);
  };
  const open = () => {
    location.hash = stops[at].element.id;
    stops[at].element.focus();
  };
  const nearest = event => {
    const box = strip.getBoundingClientRect();
    const place = (event.clientX - box.left) / box.width * count - 0.5;
    const reach = 5 * count / box.width;
    const distance = stop => Math.abs(stop.i - place) - (isBad(stop) ? reach : 0);
    let best = 0;
    for (let i = 1; i < stops.length; ++i) if (distance(stops[i]) < distance(stops[best])) best = i;
    return best;
  };
  const keys = {
    ArrowLeft: () => move(at - 1), ArrowRight: () => move(at + 1),
    ArrowUp: () => moveToBad(-1), ArrowDown: () => moveToBad(1), PageUp: () => moveToBad(-1), PageDown: () => moveToBad(1),
    Home: () => move(0), End: () => move(stops.length - 1), Enter: open, ' ': open
  };

  const attributes = {tabindex: 0, role: 'slider', 'aria-label': 'Frames; up and down lead to those that are not good, Enter opens',
    'aria-valuemin': 1, 'aria-valuemax': stops.length, 'aria-valuenow': 1, 'aria-valuetext': name(stops[0])};
  for (const key in attributes) strip.setAttribute(key, attributes[key]);
  strip.addEventListener('keydown', event => {
    if (!keys[event.key] || event.altKey || event.ctrlKey || event.metaKey) return;
    event.preventDefault();
    keys[event.key]();
  });
  strip.addEventListener('focus', show);
  strip.addEventListener('blur', hide);
  strip.addEventListener('pointermove', event => move(nearest(event)));
  strip.addEventListener('pointerleave', () => { if (document.activeElement !== strip) hide(); });
  strip.addEventListener('click', event => {
    event.preventDefault();
    move(nearest(event));
    open();
  });
}
)";

}  // namespace

QByteArray pageStyle() {
    return QByteArray(colours) + texts + drawings + frames;
}

QByteArray pageScript() {
    return script;
}

}  // namespace kxCheck
