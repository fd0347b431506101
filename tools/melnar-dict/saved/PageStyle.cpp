#include "tools/melnar-dict/saved/PageStyle.h"

// The colour of the data has a contrast of 4.9 with the light background and of 3.6 with the dark one.
const char* const PAGE_STYLE = R"css(
:root {
  color-scheme: light dark;
  --background: #ffffff; --text: #1d2329; --quiet: #566170; --line: #d9dee4; --track: #edf0f3; --mark: #2b74b5;
}
@media (prefers-color-scheme: dark) {
  :root { --background: #14171b; --text: #e6e9ed; --quiet: #a4aeba; --line: #363e47; --track: #252b32; }
}
* { box-sizing: border-box; }
body {
  margin: 0; background: var(--background); color: var(--text);
  font: 16px/1.5 system-ui, -apple-system, "Segoe UI", "Liberation Sans", sans-serif; font-variant-numeric: tabular-nums;
}
main { max-width: 60rem; margin: 0 auto; padding: 2rem 1rem 3rem; }
h1 { margin: 0; font-size: 1.9rem; line-height: 1.2; overflow-wrap: anywhere; }
h2 { margin: 0 0 .5rem; font-size: 1.25rem; line-height: 1.3; }
p { margin: 0 0 1rem; max-width: 44rem; }
code { font: .92em ui-monospace, "Liberation Mono", monospace; }
section { margin-top: 1.75rem; padding-top: 1.5rem; border-top: 1px solid var(--line); }
.quiet { color: var(--quiet); font-size: .875rem; }
.unusual { margin-top: 1rem; }

.facts { display: grid; grid-template-columns: repeat(auto-fit, minmax(9rem, 1fr)); gap: 1rem 1.5rem; margin: 1.5rem 0 0; }
.facts div { display: flex; flex-direction: column-reverse; justify-content: flex-end; }
.facts dt { color: var(--quiet); font-size: .875rem; }
.facts dd { margin: 0; font-size: 1.5rem; line-height: 1.25; font-weight: 600; }

table { border-collapse: collapse; width: 100%; }
th, td { padding: .35rem 0; text-align: left; vertical-align: top; font-weight: normal; line-height: 1.35; }
thead th { color: var(--quiet); font-size: .875rem; border-bottom: 1px solid var(--line); }
th + th, th + td, td + td { padding-left: 1rem; }
.number { text-align: right; }
.bars { table-layout: fixed; }
.bars tbody th { width: 36%; overflow-wrap: anywhere; }
.bars thead th:first-child { width: 36%; }
.bars thead th:last-child { width: 32%; }
.bars .quiet { display: block; }
.bars .share { display: inline-block; min-width: 3.2rem; }
.bars .bar { height: 1.05rem; margin-top: .15rem; }
.bars .whole { background: var(--track); }
.bar span { display: block; height: 100%; background: var(--mark); }

.panels { display: grid; grid-template-columns: repeat(auto-fit, minmax(min(20rem, 100%), 1fr)); gap: 1.5rem 2.5rem; }
figure { margin: 0; min-width: 0; max-width: 30rem; }
figcaption { margin-bottom: .5rem; }
figcaption b { display: block; }
svg { display: block; width: 100%; height: auto; font-size: 11px; }
text { fill: var(--quiet); }
.strong { fill: var(--text); }
.middle { text-anchor: middle; }
.end { text-anchor: end; }
.mark { fill: var(--mark); }
.grid, .axis { stroke: var(--line); }
.limit { stroke: var(--text); stroke-dasharray: 3 3; }
details { margin-top: .5rem; font-size: .875rem; }
summary { color: var(--quiet); cursor: pointer; }

@media (max-width: 30rem) {
  main { padding-top: 1.25rem; }
  .facts { grid-template-columns: 1fr 1fr; }
  .facts dd { font-size: 1.25rem; }
  .bars, .bars tbody { display: block; }
  .bars thead { display: none; }
  .bars tr { display: grid; grid-template-columns: 1fr auto; padding: .35rem 0; }
  .bars tbody th { width: auto; padding: 0; }
  .bars td { padding: 0; grid-column: 1 / -1; }
  .bars td.number { grid-area: 1 / 2; padding-left: 1rem; white-space: nowrap; }
}
@media print {
  :root { --background: #ffffff; --text: #000000; --quiet: #444444; --line: #cccccc; --track: #eeeeee; }
  body { font-size: 11pt; }
  main { max-width: none; padding: 0; }
  figure, tr, h2, h2 + p { break-inside: avoid; }
  h2, h2 + p, figcaption { break-after: avoid; }
  .unusual { break-before: avoid; }
  details:not([open]) { display: none; }
  .panels { grid-template-columns: 1fr 1fr; }
  .bar, .bar span, .mark { print-color-adjust: exact; -webkit-print-color-adjust: exact; }
}
)css";
