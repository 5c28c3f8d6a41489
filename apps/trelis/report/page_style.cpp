#include <apps/trelis/report/page_style.h>

namespace app::report {

const char* const kPageStyle = R"css(
:root {
  color-scheme: light dark;
  --page: #f4f6f9; --surface: #ffffff; --text: #1b2430; --muted: #5a6676; --line: #dbe1e9;
  --accent: #1f5fbf; --fault: #b3261e; --warning: #8a5a00; --good: #1d7a46;
  --fault-tint: #fdecea; --warning-tint: #fff5dd; --note-tint: #eef3fa;
  --leaf: #c3cbd6; --leaf-edge: #8b96a5; --planned: #c02a8f; --shade: #1b24301f;
}
@media (prefers-color-scheme: dark) {
  :root {
    --page: #0f141b; --surface: #171d26; --text: #e6ebf2; --muted: #9ba7b7; --line: #2b3441;
    --accent: #7db0ff; --fault: #ff8a80; --warning: #f2c14e; --good: #6fd39b;
    --fault-tint: #3a1d1d; --warning-tint: #352b12; --note-tint: #1c2736;
    --leaf: #3c4757; --leaf-edge: #66748a; --planned: #ff7ccf; --shade: #00000059;
  }
}
* { box-sizing: border-box; }
body {
  margin: 0; background: var(--page); color: var(--text);
  font: 16px/1.5 system-ui, -apple-system, "Segoe UI", Roboto, "Noto Sans", Arial, sans-serif;
}
main { max-width: 1180px; margin: 0 auto; padding: 28px 20px 60px; }
h1 { font-size: 2rem; line-height: 1.2; margin: 0 0 4px; overflow-wrap: anywhere; }
h2 { font-size: 1.2rem; margin: 0 0 14px; }
h3 { font-size: 1rem; margin: 0 0 6px; }
p { margin: 0 0 8px; }
bdi { overflow-wrap: anywhere; }
.kind {
  color: var(--accent); font-weight: 600; font-size: 0.8rem; letter-spacing: 0.08em;
  text-transform: uppercase;
}
.muted, small { color: var(--muted); }
.muted { font-size: 0.88rem; }
section {
  margin-top: 20px; padding: 20px; background: var(--surface); border: 1px solid var(--line);
  border-radius: 12px;
}
ul { margin: 0; padding: 0; list-style: none; }
figure { margin: 0; min-width: 0; }
svg { display: block; width: 100%; height: auto; }
svg text { font: 15px system-ui, -apple-system, "Segoe UI", Roboto, Arial, sans-serif; }

.tiles { display: flex; flex-wrap: wrap; gap: 12px; margin-top: 18px; }
.tiles li {
  flex: 1 1 150px; padding: 12px 16px; background: var(--surface); border: 1px solid var(--line);
  border-radius: 12px; color: var(--muted);
}
.tiles span { display: block; font-size: 0.85rem; }
.tiles strong { font-size: 1.5rem; color: var(--text); font-variant-numeric: tabular-nums; }
.tiles small { display: block; color: var(--warning); font-weight: 600; }
.tiles .doubtful { border-color: var(--warning); }
.tiles .doubtful strong { color: var(--warning); }
.tiles .has-faults strong { color: var(--fault); }
.tiles .has-warnings strong { color: var(--warning); }
.tiles .is-clean strong { color: var(--good); }

.messages { padding: 12px 16px; border-radius: 8px; border-left: 4px solid; margin-top: 10px; }
.messages li { margin: 4px 0; }
.messages .subject { font-weight: 600; }
.messages .count { color: var(--muted); font-weight: 400; }
.faults { background: var(--fault-tint); border-color: var(--fault); }
.warnings { background: var(--warning-tint); border-color: var(--warning); }
.notes { background: var(--note-tint); border-color: var(--accent); }
summary { cursor: pointer; color: var(--accent); }

.planes { display: flex; gap: 10px; align-items: flex-start; }
.planes figure { flex: var(--share) 1 0; }
figcaption { font-size: 0.9rem; margin-top: 6px; }
.plane { border-radius: 8px; background: #000; --unit: var(--row-unit); }
.plane .backdrop { fill: #0a0c10; }
.plane path { fill: none; vector-effect: non-scaling-stroke; }
.isodose { stroke-width: 1.3; stroke-linejoin: round; }
.dose-border { stroke: #c9d2de; stroke-width: 1; stroke-dasharray: 1 4; }
.outline use { fill: none; stroke-width: 1.8; stroke-linejoin: round; }
.outline use, .outline path { vector-effect: non-scaling-stroke; }
.outline .halo { stroke: #000; stroke-opacity: 0.6; stroke-width: 3.4; }
.outline.target use { stroke-width: 2.4; }
.outline.target .halo { stroke-width: 4.4; }
.crossing { stroke: #fff; stroke-opacity: 0.35; stroke-width: 1; stroke-dasharray: 5 5; }
.ticks { stroke: #fff; stroke-opacity: 0.7; stroke-width: 1; }
.plane text, .plane .scale path { paint-order: stroke; stroke-linejoin: round; }
.plane text { fill: #e9eef5; stroke: #000c; stroke-width: calc(var(--unit) * 2.5); }
.plane text { font-size: calc(var(--unit) * 11); }
.plane .directions text { fill: #ffd866; font-size: calc(var(--unit) * 17); font-weight: 600; }
.plane .scale path { stroke: #fff; stroke-width: 1.5; }

.keys { margin-top: 12px; }
.key { display: flex; flex-wrap: wrap; gap: 4px 18px; font-size: 0.9rem; margin-bottom: 8px; }
.key li { display: flex; align-items: center; gap: 7px; }
.swatch {
  display: inline-block; flex: none; width: 12px; height: 12px; border-radius: 3px;
  border: 1px solid var(--muted); margin-right: 6px; vertical-align: -1px;
}
.key .swatch { margin: 0; }
.key .line { width: 22px; height: 3px; border-radius: 2px; }
.key .area { width: 20px; height: 13px; border-radius: 2px; }

.curve { fill: none; stroke: var(--light-ink); stroke-width: 2; stroke-linejoin: round; }
.outline-sample, .eye-outline { --ink: var(--light-ink); }
@media (prefers-color-scheme: dark) {
  .curve { stroke: var(--dark-ink); }
  .outline-sample, .eye-outline { --ink: var(--dark-ink); }
}
.plot { touch-action: pan-y; outline-offset: 4px; }
.plot path { vector-effect: non-scaling-stroke; }
.plot .curve.target { stroke-width: 3; }
.plot .grid { stroke: var(--line); fill: none; }
.plot .axes { stroke: var(--muted); fill: none; }
.plot text { fill: var(--muted); font-size: 12px; }
.plot .axis { fill: var(--text); }
#dvh-cursor path { stroke: var(--text); stroke-opacity: 0.6; }
#dvh-cursor circle { stroke: var(--surface); stroke-width: 1.5; }
.legend { display: grid; grid-template-columns: repeat(auto-fill, minmax(250px, 1fr)); gap: 2px 24px; }
.legend li { display: flex; align-items: center; gap: 8px; min-width: 0; }
.legend svg { flex: none; width: 34px; }
.legend bdi { flex: 1; min-width: 0; }
.legend output { font-variant-numeric: tabular-nums; white-space: nowrap; }
#dvh-dose { font-size: 0.9rem; color: var(--muted); min-height: 1.5em; }
#dvh-dose.reading { color: var(--text); font-weight: 600; }

.scroll { overflow-x: auto; }
table { border-collapse: collapse; width: 100%; font-size: 0.85rem; }
th, td { padding: 7px 7px; border-bottom: 1px solid var(--line); vertical-align: top; }
tbody tr:last-child th, tbody tr:last-child td { border-bottom: 0; }
.statistics { font-variant-numeric: tabular-nums; margin-bottom: 12px; }
.statistics.levels { width: auto; }
.statistics td, .statistics thead th { text-align: right; white-space: nowrap; }
.statistics thead th { border-bottom: 2px solid var(--line); font-weight: 600; }
.statistics small { display: block; font-weight: 400; font-size: 0.9em; }
.statistics th:first-child {
  position: sticky; left: 0; background: var(--surface); text-align: left; min-width: 120px;
  max-width: 260px; font-weight: 600; white-space: normal;
}
.badge {
  font-size: 0.8em; font-weight: 600; color: var(--accent); border: 1px solid currentColor;
  border-radius: 99px; padding: 0 7px; white-space: nowrap;
}
.edits ol { margin: 0; padding-left: 2.2em; color: var(--muted); }
.statistics .edits td { text-align: left; white-space: normal; padding-top: 0; }
.statistics tr:has(+ .edits) > * { border-bottom: 0; }
td.doubtful, small.doubtful { color: var(--warning); font-weight: 600; }
.facts th { text-align: left; font-weight: 600; width: 110px; }

.beams { display: grid; grid-template-columns: repeat(auto-fill, minmax(290px, 1fr)); gap: 20px; }
.field { border-radius: 8px; border: 1px solid var(--line); }
.field path { fill: none; vector-effect: non-scaling-stroke; }
.field .backdrop { fill: var(--page); }
.field .eye-outline { fill: var(--ink); fill-opacity: 0.28; stroke: var(--ink); stroke-width: 2; }
.field .leaves { fill: var(--leaf); fill-opacity: 0.82; stroke: var(--leaf-edge); stroke-width: 0.8; }
.field .jaws-shade { fill: var(--shade); }
.field .jaws { stroke: var(--accent); stroke-width: 2; }
.field .planned { stroke: var(--planned); stroke-width: 2; stroke-dasharray: 6 4; }
.field .isocentre { stroke: var(--text); stroke-width: 1.5; }
.field .scale path { stroke: var(--text); stroke-width: 1.5; }
.field text { font-size: calc(var(--unit) * 16); fill: var(--text); }
.outline-sample {
  background: color-mix(in srgb, var(--ink) 28%, transparent); border: 2px solid var(--ink);
}
.leaf-sample { background: var(--leaf); border: 1px solid var(--leaf-edge); }
.jaw-sample { background: var(--accent); }
.planned-sample { border-top: 3px dashed var(--planned); border-radius: 0; height: 0; }
.files { columns: 2 300px; font-size: 0.9rem; }
a { color: var(--accent); }

@media screen and (max-width: 700px) {
  main { padding: 18px 12px 40px; }
  section { padding: 16px 14px; }
  h1 { font-size: 1.6rem; }
  .planes { flex-direction: column; }
  .planes figure { flex: none; width: 100%; max-width: var(--own-width); }
  .plane { --unit: var(--own-unit); }
  .plot text { font-size: 24px; }
  .plot .odd { display: none; }
  .statistics th:first-child { max-width: 150px; }
}
@media print {
  :root {
    --page: #fff; --surface: #fff; --text: #000; --muted: #444; --line: #bbb; --accent: #1f5fbf;
    --leaf: #c3cbd6; --leaf-edge: #8b96a5; --planned: #c02a8f; --shade: #1b24301f;
    --fault: #b3261e; --warning: #8a5a00; --good: #1d7a46;
    --fault-tint: #fff; --warning-tint: #fff; --note-tint: #fff;
  }
  @page { size: A4; margin: 13mm; }
  * { print-color-adjust: exact; -webkit-print-color-adjust: exact; }
  .curve { stroke: var(--light-ink); }
  .outline-sample, .eye-outline { --ink: var(--light-ink); }
  body { font-size: 10.5pt; }
  main { max-width: none; padding: 0; }
  section { border: 0; padding: 0; margin-top: 18pt; }
  h2, h3 { break-after: avoid; }
  figure, tr, .messages li, .tiles { break-inside: avoid; }
  .scroll { overflow: visible; }
  .statistics { font-size: 7pt; }
  .statistics th, .statistics td { padding: 3pt; }
  .statistics th:first-child { position: static; min-width: 0; max-width: 34mm; }
  .beams { grid-template-columns: repeat(3, 1fr); gap: 10pt; }
  #files, #dvh-cursor { display: none; }
}
)css";

const char* const kPageScript = R"js(
"use strict";
(() => {
  const plot = document.getElementById("dvh-plot");
  const source = document.getElementById("dvh-numbers");
  if (!plot || !source) {
    return;
  }
  const axes = JSON.parse(source.textContent);
  const cursor = document.getElementById("dvh-cursor");
  const line = cursor.firstElementChild;
  const heading = document.getElementById("dvh-dose");
  const explanation = heading.textContent;
  const outputs = Array.from(document.querySelectorAll("output[data-curve]"));
  const lastPoint = Math.max(...axes.curves.map((curve) => curve.length)) - 1;
  const dots = outputs.map((output) => {
    const dot = document.createElementNS("http://www.w3.org/2000/svg", "circle");
    dot.setAttribute("r", "4.5");
    const curve = output.parentElement.querySelector(".curve");
    dot.style.fill = getComputedStyle(curve).stroke;
    return cursor.appendChild(dot);
  });
  let shown = 0;

  function show(point) {
    shown = Math.min(Math.max(point, 0), lastPoint);
    const dose = shown * axes.step;
    const x = axes.left + (axes.right - axes.left) * dose / axes.range;
    line.setAttribute("transform", `translate(${x} 0)`);
    outputs.forEach((output, i) => {
      const percent = axes.curves[output.dataset.curve][shown] || 0;
      output.textContent = `${percent.toFixed(1)} %`;
      dots[i].setAttribute("cx", x);
      dots[i].setAttribute("cy", axes.bottom - (axes.bottom - axes.top) * percent / 100);
    });
    heading.textContent = `At ${dose.toFixed(axes.decimals)} ${axes.unit} and more`;
    heading.className = "reading";
    cursor.setAttribute("visibility", "visible");
  }

  function hide() {
    cursor.setAttribute("visibility", "hidden");
    heading.textContent = explanation;
    heading.className = "";
    outputs.forEach((output) => { output.textContent = ""; });
  }

  function follow(event) {
    const box = plot.getBoundingClientRect();
    const x = (event.clientX - box.left) * axes.width / box.width;
    const dose = (x - axes.left) * axes.range / (axes.right - axes.left);
    show(Math.round(dose / axes.step));
  }

  plot.addEventListener("pointerdown", follow);
  plot.addEventListener("pointermove", follow);
  plot.addEventListener("pointerleave", (event) => {
    if (event.pointerType === "mouse") {
      hide();
    }
  });
  plot.addEventListener("blur", hide);
  plot.addEventListener("keydown", (event) => {
    const steps = { ArrowLeft: -1, ArrowRight: 1, PageDown: -10, PageUp: 10 }[event.key];
    if (event.key === "Escape") {
      hide();
    } else if (steps) {
      event.preventDefault();
      show(shown + steps);
    }
  });
})();
)js";

}  // namespace app::report
