#pragma once

namespace Kelvra::SCADA::Tool {

/// The style of the page: a table on a wide screen and on paper, a card for each row on a narrow screen.
inline constexpr const char* REPORT_STYLE = R"css(
:root { --back: #fff; --text: #1c2430; --soft: #566070; --line: #d3dae3; --band: #f4f6f9; --link: #0b5cad;
  --ok: #1a653a; --ok-back: #e2f3e7; --warn: #7a4a00; --warn-back: #fdefd3; --bad: #9c1f18; --bad-back: #fde6e4; }
@media screen and (prefers-color-scheme: dark) {
  :root { --back: #14181d; --text: #e6eaef; --soft: #a5afbb; --line: #39424d; --band: #1c2229; --link: #82baf6;
    --ok: #93dbab; --ok-back: #173323; --warn: #f2c476; --warn-back: #3a2b10; --bad: #ffa49b; --bad-back: #481e1b; }
}
* { box-sizing: border-box; }
[hidden] { display: none !important; }
html { scroll-padding-top: 5rem; }
body { margin: 0 auto; max-width: 90rem; padding: 0 1.5rem 3rem; background: var(--back); color: var(--text);
  font: 1rem/1.45 system-ui, "Segoe UI", Roboto, "DejaVu Sans", sans-serif; overflow-wrap: anywhere; }
h1 { margin: 1.5rem 0 .25rem; font-size: 1.6rem; line-height: 1.2; }
h2 { margin: 2.5rem 0 .5rem; font-size: 1.25rem; }
p { margin: .25rem 0 .75rem; }
.soft { color: var(--soft); }
a { color: var(--link); }
nav ul { display: flex; flex-wrap: wrap; gap: .25rem 1.5rem; margin: .75rem 0; padding: 0; list-style: none; }
.search { position: sticky; top: 0; z-index: 1; display: flex; flex-wrap: wrap; align-items: center; gap: .25rem .75rem;
  padding: .6rem 0; background: var(--back); border-bottom: 1px solid var(--line); }
.search input { flex: 0 1 22rem; min-width: 0; padding: .4rem .6rem; font: inherit; color: inherit;
  background: var(--back); border: 1px solid var(--soft); border-radius: .3rem; }
:focus-visible { outline: 2px solid var(--link); outline-offset: 1px; }
.notice { padding: .6rem .8rem; border-left: .3rem solid var(--warn); background: var(--warn-back); color: var(--warn); }
table { width: 100%; border-collapse: collapse; margin: .5rem 0 1.5rem; font-size: .9rem; }
caption { padding: 0 0 .4rem; text-align: left; color: var(--soft); }
th, td { padding: .45rem .75rem .45rem 0; text-align: left; vertical-align: top; border-bottom: 1px solid var(--line); }
thead th { font-weight: 600; color: var(--soft); white-space: nowrap; border-bottom-width: 2px; }
tbody th { font-weight: 600; min-width: 9rem; }
.wide td:last-child { width: 40%; }
.wide.differences td:last-child { width: 85%; }
.time { display: inline-block; min-width: 11.5rem; }
.mark { padding: .05rem .45rem; border-radius: .6rem; font-weight: 600; }
.short { white-space: nowrap; }
.ok { color: var(--ok); background: var(--ok-back); }
.warn { color: var(--warn); background: var(--warn-back); }
.bad { color: var(--bad); background: var(--bad-back); }
dl + p { margin: .35rem 0 0; font-size: .85em; }
dl { display: grid; grid-template-columns: repeat(auto-fill, minmax(11rem, 1fr)); gap: .35rem 1rem; margin: 0; }
dt { color: var(--soft); font-size: .85em; line-height: 1.25; }
dd { margin: 0; font-weight: 600; }
dd .soft, .fault { font-weight: 400; }
td ul { margin: 0; padding: 0; list-style: none; }
pre { margin: 0; font: .85rem/1.4 ui-monospace, "DejaVu Sans Mono", monospace; white-space: pre-wrap; }
.fault { color: var(--bad); }
ins { color: var(--ok); background: var(--ok-back); text-decoration: none; }
del { color: var(--bad); background: var(--bad-back); text-decoration: none; }
code { font: .92em ui-monospace, "DejaVu Sans Mono", monospace; }
@media screen {
  .tall { max-height: 22rem; overflow-y: auto; }
}
@media screen and (max-width: 48rem) {
  body { padding: 0 1rem 2rem; }
  thead { position: absolute; width: 1px; height: 1px; overflow: hidden; clip-path: inset(50%); }
  table, tbody, caption { display: block; }
  tbody tr { display: block; margin: 0 0 .8rem; padding: .5rem .75rem; border: 1px solid var(--line);
    border-radius: .5rem; background: var(--band); }
  tbody th, tbody td { display: grid; grid-template-columns: 6.5rem minmax(0, 1fr); gap: .5rem; padding: .15rem 0;
    border: 0; }
  tbody th > *, tbody td > * { justify-self: start; }
  tbody th::before, tbody td::before { content: attr(data-label); color: var(--soft); font-weight: 400; }
  .wide td:last-child { display: block; width: auto; }
  .wide td:last-child::before { display: block; margin: .3rem 0 .2rem; }
  dl { grid-template-columns: repeat(auto-fill, minmax(8rem, 1fr)); }
  .search input { flex: 1 1 100%; }
}
@media print {
  @page { margin: 15mm; }
  html { font-size: 9pt; }
  body { max-width: none; padding: 0; }
  dl { grid-template-columns: repeat(auto-fill, minmax(8rem, 1fr)); }
  .search, nav { display: none; }
  h2 { break-after: avoid; }
  thead { display: table-header-group; }
  tr { break-inside: avoid; }
  .long tr { break-inside: auto; }
  .mark, ins, del, .notice { print-color-adjust: exact; }
}
)css";

/// Shows the rows that contain each word of the search field.
inline constexpr const char* REPORT_SCRIPT = R"js(
"use strict";
(function () {
  var field = document.getElementById("search");
  var found = document.getElementById("found");
  var rows = Array.from(document.querySelectorAll("tbody tr"), function (row) {
    var text = Array.from(row.cells, function (cell) { return cell.textContent; }).join(" ");
    return { row: row, text: text.toLowerCase() };
  });
  function filter() {
    var words = field.value.toLowerCase().split(/\s+/).filter(Boolean);
    var shown = 0;
    rows.forEach(function (one) {
      var fits = words.every(function (word) { return one.text.includes(word); });
      one.row.hidden = !fits;
      shown += fits ? 1 : 0;
    });
    found.textContent = words.length === 0 ? "" : shown + " of " + rows.length + " rows";
  }
  document.getElementById("search-box").hidden = false;
  field.addEventListener("input", filter);
  filter();
})();
)js";

} // namespace Kelvra::SCADA::Tool
