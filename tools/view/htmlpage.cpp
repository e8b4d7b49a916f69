// The report page's style sheet and script. The script reads the page's own elements only: it
// sorts and filters the component table, opens and closes waterfall rows, and shows a record's
// details on hover or pinned by a click. It sets text only as text, never as markup, so nothing
// from the input can become an element.
#include "htmlpage.h"

namespace tlmview {

const std::string_view kHtmlStyle = R"CSS(
:root { --fg: #1d2330; --muted: #5f6b7a; --line: #d9dee5; --bar: #2f6fd6; --fail: #d0342c; }
* { box-sizing: border-box; }
body { font: 14px/1.4 system-ui, "DejaVu Sans", sans-serif; color: var(--fg); margin: 0;
       padding: 16px 24px 48px; background: #fff; }
h1 { font-size: 20px; margin: 0 0 8px; }
h2 { font-size: 17px; margin: 28px 0 8px; border-bottom: 1px solid var(--line); }
h3 { font-size: 14px; margin: 0 0 6px; font-weight: 600; overflow-wrap: anywhere; }
table { border-collapse: collapse; }
td, th { padding: 3px 8px; border-bottom: 1px solid var(--line); text-align: left;
         vertical-align: top; overflow-wrap: break-word; }
td.n, th.n { text-align: right; font-variant-numeric: tabular-nums; }
.facts th { color: var(--muted); font-weight: normal; border: 0; padding-left: 0; }
.facts td { border: 0; }
th[data-sort] { cursor: pointer; user-select: none; white-space: nowrap; background: #f3f5f8; }
th[data-sort]:hover { background: #e6ebf2; }
th[aria-sort=ascending]::after { content: " \25B2"; font-size: 10px; }
th[aria-sort=descending]::after { content: " \25BC"; font-size: 10px; }
.dim { color: var(--muted); }
.note { color: var(--muted); font-style: italic; }
.tools { margin: 6px 0; }
#filter { padding: 4px 8px; width: 22em; border: 1px solid var(--line); border-radius: 4px; }
svg.spark { width: 120px; height: 24px; vertical-align: middle; }
svg.spark polyline { fill: none; stroke: var(--bar); stroke-width: 1.5; }
svg.spark circle { fill: var(--bar); }
tr.kpi td:nth-child(2) { padding-left: 24px; }
.wf { border: 1px solid var(--line); border-radius: 6px; padding: 10px 12px; margin: 12px 0; }
/* Waterfalls out of sight are laid out only when scrolled to: a page of a thousand opens fast. */
.wf { content-visibility: auto; contain-intrinsic-size: auto 220px; }
.axis, .row { display: grid; grid-template-columns: minmax(14em, 38%) 1fr 6em; gap: 0 8px;
              align-items: center; }
.axis { color: var(--muted); font-size: 11px; height: 18px; }
.ticks { position: relative; height: 18px; border-bottom: 1px solid var(--line); }
.ticks span { position: absolute; top: 0; transform: translateX(-50%); white-space: nowrap; }
.ticks span:first-child { transform: none; }
.row { position: relative; min-height: 22px; cursor: pointer; border-radius: 3px; }
.row:hover { background: #f1f4f9; }
.row[hidden] { display: none; }
.name { white-space: nowrap; overflow: hidden; text-overflow: ellipsis; }
.track { position: relative; height: 14px; }
.wf[style] .track { background: repeating-linear-gradient(90deg, #e3e8ef 0 1px,
                                                    transparent 1px var(--grid)); }
.bar { position: absolute; top: 1px; bottom: 1px; min-width: 2px; background: var(--bar);
       border-radius: 2px; }
.ms { text-align: right; font-variant-numeric: tabular-nums; color: var(--muted); }
.p1 .bar { background: #e07b1a; }
.p2 .bar { background: #2e9d5b; }
.p3 .bar { background: #8e44ad; }
.fail .bar { background: var(--fail); }
.err { color: var(--fail); margin-left: 6px; }
.proc { font-size: 11px; padding: 0 5px; margin-left: 6px; border-radius: 8px; background: #fbe7d3;
        color: #7a3d00; }
.tg { display: inline-block; width: 1.2em; border: 0; background: none; padding: 0; cursor: pointer;
      color: var(--muted); font: inherit; }
.tg::before { content: "\25BE"; }
.closed .tg::before { content: "\25B8"; }
.leaf { display: inline-block; width: 1.2em; }
.tip { display: none; grid-column: 1 / -1; font-size: 12px; background: #fff;
       border: 1px solid var(--line); border-radius: 4px; padding: 4px 8px; margin: 2px 0 4px; }
.tip dl { display: grid; grid-template-columns: max-content 1fr; gap: 0 8px; margin: 0; }
.tip dt { color: var(--muted); }
.tip dd { margin: 0; white-space: pre-wrap; overflow-wrap: anywhere; }
.row:hover > .tip { display: block; position: absolute; top: 100%; left: 2em; z-index: 2;
                    max-width: 60em; box-shadow: 0 2px 8px rgba(0,0,0,.15); }
.row.open > .tip { display: block; position: static; box-shadow: none; }
details.rejected li { font-family: monospace; overflow-wrap: anywhere; }
)CSS";

const std::string_view kHtmlScript = R"JS(
(function () {
  'use strict';
  function key(cell, numeric) {
    if (!numeric) return cell.textContent.toLowerCase();
    var v = cell.getAttribute('data-v');
    return v === null ? null : Number(v);
  }
  // Sorts the rows of th's table by its column; a second click reverses. Cells without a number
  // go last either way; rows that compare equal keep their order.
  function sortBy(th) {
    var table = th.closest('table'), body = table.tBodies[0], col = th.cellIndex;
    var numeric = th.getAttribute('data-sort') === 'n';
    var dir = th.getAttribute('aria-sort') === 'ascending' ? -1 : 1;
    var heads = th.parentNode.cells;
    for (var i = 0; i < heads.length; i++) heads[i].removeAttribute('aria-sort');
    th.setAttribute('aria-sort', dir > 0 ? 'ascending' : 'descending');
    var rows = Array.prototype.slice.call(body.rows);
    rows.sort(function (a, b) {
      var x = key(a.cells[col], numeric), y = key(b.cells[col], numeric);
      if (x === y) return 0;
      if (x === null) return 1;
      if (y === null) return -1;
      return (x < y ? -1 : 1) * dir;
    });
    for (var j = 0; j < rows.length; j++) body.appendChild(rows[j]);
  }
  // Shows or hides the records below row, keeping closed ones below it closed.
  function setOpen(row, open) {
    row.classList.toggle('closed', !open);
    var depth = Number(row.getAttribute('data-d')), skipBelow = Infinity;
    for (var r = row.nextElementSibling; r && r.classList.contains('row');
         r = r.nextElementSibling) {
      var d = Number(r.getAttribute('data-d'));
      if (d <= depth) break;
      if (d > skipBelow) continue;
      skipBelow = Infinity;
      r.hidden = !open;
      if (!open) r.classList.remove('open');
      if (open && r.classList.contains('closed')) skipBelow = d;
    }
  }
  // A record's details, from the names and values in its data-tip, as text.
  function tipOf(row) {
    var tip = row.querySelector('.tip');
    if (tip || !row.hasAttribute('data-tip')) return tip;
    var pairs = JSON.parse(row.getAttribute('data-tip')), list = document.createElement('dl');
    for (var i = 0; i + 1 < pairs.length; i += 2) {
      var dt = document.createElement('dt'), dd = document.createElement('dd');
      dt.textContent = pairs[i];
      dd.textContent = pairs[i + 1];
      list.appendChild(dt);
      list.appendChild(dd);
    }
    tip = document.createElement('div');
    tip.className = 'tip';
    tip.appendChild(list);
    row.appendChild(tip);
    return tip;
  }
  document.addEventListener('mouseover', function (e) {
    var row = e.target.closest && e.target.closest('.row');
    if (row) tipOf(row);
  });
  document.addEventListener('click', function (e) {
    var th = e.target.closest('th[data-sort]');
    if (th) { sortBy(th); return; }
    var toggle = e.target.closest('.tg');
    if (toggle) {
      var owner = toggle.closest('.row');
      setOpen(owner, owner.classList.contains('closed'));
      return;
    }
    if (e.target.closest('.tip')) return;
    var row = e.target.closest('.row');
    if (row && tipOf(row)) row.classList.toggle('open');
  });
  var filter = document.getElementById('filter');
  if (filter) filter.addEventListener('input', function () {
    var words = filter.value.toLowerCase().split(/\s+/).filter(Boolean);
    var rows = document.getElementById('metric-table').tBodies[0].rows, shown = 0;
    for (var i = 0; i < rows.length; i++) {
      var text = rows[i].textContent.toLowerCase();
      var keep = words.every(function (w) { return text.indexOf(w) >= 0; });
      rows[i].hidden = !keep;
      if (keep) shown++;
    }
    document.getElementById('filter-count').textContent =
        words.length ? shown + ' of ' + rows.length + ' rows' : '';
  });
})();
)JS";

}  // namespace tlmview
