#include "oru_report/render/page_assets.h"

namespace oru_report {

const char kPageStyle[] = R"css(
:root { color-scheme: light dark; --line: #8884; --dim: #777; --red: #c62828; --green: #2e7d32; }
@media (prefers-color-scheme: dark) { :root { --dim: #999; --red: #ff8a80; --green: #81c784; } }
body { font: 15px/1.45 system-ui, sans-serif; max-width: 75rem; margin: 1.5rem auto; padding: 0 1rem; }
h1 { font-size: 1.25rem; overflow-wrap: anywhere; }
h2 { font-size: 1.05rem; margin: 1.8rem 0 .5rem; }
code, pre { font: 13px/1.4 ui-monospace, monospace; }
dl { display: grid; grid-template-columns: max-content 1fr; gap: .15rem 1.2rem; }
dt { color: var(--dim); } dd { margin: 0; overflow-wrap: anywhere; }
ol { margin: .4rem 0; padding-left: 2.6rem; } li { padding: .12rem 0; } li::marker { color: var(--dim); }
.fn { display: block; overflow-wrap: anywhere; }
.where, .none, .top, .count { color: var(--dim); font-size: .86rem; }
.place { color: var(--green); font-size: .86rem; margin-right: 1rem; overflow-wrap: anywhere; }
.exception { color: var(--red); font-weight: 600; overflow-wrap: anywhere; }
details, .frames { border: 1px solid var(--line); border-radius: .4rem; margin: .35rem 0; padding: .3rem .7rem; }
.crashed { border-left: 4px solid var(--red); }
.tag { background: var(--red); color: Canvas; border-radius: .25rem; padding: 0 .4rem; font-size: .8rem; }
summary { cursor: pointer; } .top { margin-left: .8rem; }
.wide { overflow-x: auto; } table { border-collapse: collapse; width: 100%; }
th, td { text-align: left; padding: .2rem .8rem .2rem 0; border-bottom: 1px solid var(--line); white-space: nowrap; }
td { vertical-align: top; } .path { white-space: normal; overflow-wrap: anywhere; min-width: 16rem; }
td:first-child { white-space: normal; overflow-wrap: anywhere; min-width: 8rem; }
[hidden] { display: none !important; }
@media (max-width: 50rem) {
  thead { display: none; } tr { display: block; padding: .3rem 0; border-bottom: 1px solid var(--line); }
  td, td:first-child { display: block; border: 0; padding: 0; white-space: normal; overflow-wrap: anywhere; }
}
tbody tr:hover { background: #8882; }
input { font: inherit; width: min(26rem, 100%); padding: .25rem .5rem; } button { font: inherit; }
pre { white-space: pre-wrap; overflow-wrap: anywhere; }
)css";

const char kPageScript[] = R"js(
(function () {
  var fold = document.getElementById('fold');
  if (fold) fold.addEventListener('click', function () {
    var all = document.querySelectorAll('details'), open = fold.textContent === 'Unfold all';
    all.forEach(function (d) { d.open = open || d.classList.contains('crashed'); });
    fold.textContent = open ? 'Fold all' : 'Unfold all';
  });
  var search = document.getElementById('search'), found = document.getElementById('found');
  var rows = Array.prototype.map.call(document.querySelectorAll('#images tbody tr'), function (row) {
    var span = row.cells[1].textContent.split('\u00a0\u2013\u00a0');
    return { row: row, text: row.textContent.toLowerCase(), start: BigInt(span[0]), end: BigInt(span[1]) };
  });
  function matches(entry, text) {
    if (entry.text.indexOf(text) >= 0) return true;
    if (!/^0x[0-9a-f]+$/.test(text)) return false;
    var address = BigInt(text);
    return entry.start <= address && address <= entry.end;
  }
  if (search) search.addEventListener('input', function () {
    var text = search.value.trim().toLowerCase(), count = 0;
    rows.forEach(function (entry) {
      var show = text === '' || matches(entry, text);
      entry.row.hidden = !show;
      if (show) count++;
    });
    found.textContent = text === '' ? '' : count + ' of ' + rows.length;
  });
})();
)js";

}  // namespace oru_report
