#include "oru_report/render/page_assets.h"

namespace oru_report {

const char kPageStyle[] = R"css(
:root { color-scheme: light dark; --bg: #fff; --card: #f5f6f8; --text: #1b1c1f; --line: #d5d8dd; --dim: #595d65;
  --red: #b3261e; --green: #1b6330; --blue: #0b50c0; --amber: #7a4b00; }
@media (prefers-color-scheme: dark) { :root { --bg: #131417; --card: #1e2024; --text: #e8e9ec; --line: #3b3e45;
  --dim: #b3b7bf; --red: #ffa198; --green: #8fd6a0; --blue: #a9c7ff; --amber: #f2c27a; } }
* { box-sizing: border-box; }
body { font: 15px/1.5 system-ui, sans-serif; background: var(--bg); color: var(--text); max-width: 70rem; margin: 0 auto;
  padding: 1rem; overflow-wrap: anywhere; }
code, pre, .fn { font-family: ui-monospace, Menlo, Consolas, monospace; font-size: .88rem; }
header { border: 1px solid var(--line); border-left: .35rem solid var(--red); border-radius: .5rem; background: var(--card);
  padding: .8rem 1rem; }
h1 { font-size: 1.35rem; line-height: 1.3; margin: 0 0 .4rem; }
.kind { display: inline-block; background: var(--red); color: var(--bg); border-radius: .3rem; padding: 0 .5rem; font-size: .95rem;
  vertical-align: .1rem; }
.why { color: var(--red); margin: .2rem 0; font-weight: 600; }
.culprit { margin: .5rem 0; } .culprit .fn { font-size: 1.02rem; font-weight: 600; }
.gap { color: var(--amber); font-weight: 600; }
dl { display: grid; grid-template-columns: max-content 1fr; gap: .1rem 1rem; margin: .6rem 0; }
dt { color: var(--dim); } dd { margin: 0; }
header dl { grid-template-columns: repeat(auto-fill, minmax(11rem, 1fr)); gap: .4rem 1rem; }
header dl div { display: block; } header dt { font-size: .82rem; } 
nav { position: sticky; top: 0; background: var(--bg); padding: .6rem 0; display: flex; gap: .5rem; flex-wrap: wrap; z-index: 1;
  align-items: center; border-bottom: 1px solid var(--line); }
nav input { flex: 1 1 14rem; min-width: 0; font: inherit; padding: .35rem .6rem; border: 1px solid var(--dim); border-radius: .4rem;
  background: var(--bg); color: var(--text); }
button { font: inherit; font-size: .88rem; padding: .25rem .7rem; border: 1px solid var(--dim); border-radius: .4rem;
  background: var(--card); color: var(--text); cursor: pointer; }
:focus-visible { outline: 2px solid var(--blue); outline-offset: 1px; }
#found { color: var(--dim); min-width: 5rem; }
details { border: 1px solid var(--line); border-radius: .5rem; margin: .5rem 0; padding: .3rem .8rem; }
details details { margin: .3rem 0; padding: .15rem .6rem; }
summary { cursor: pointer; } summary h2 { display: inline; font-size: 1.05rem; margin: 0; }
.member { color: var(--dim); font-size: .88rem; text-decoration: none; display: inline-block; margin-right: .8rem; }
a.member:hover { text-decoration: underline; } .member:target { outline: 2px solid var(--blue); }
.times { display: inline-block; min-width: 2.2rem; }
.legend { display: flex; flex-wrap: wrap; gap: .2rem 1rem; align-items: baseline; margin: .4rem 0; color: var(--dim);
  font-size: .88rem; } .legend a { margin-left: auto; }
.crashed { border-left: .35rem solid var(--red); }
.count, .where, .none, .note, .top { color: var(--dim); font-size: .88rem; }
ol { list-style: none; margin: .3rem 0; padding: 0; }
li.frame { display: grid; grid-template-columns: 2.6rem 1.5rem 1fr; padding: .2rem 0; border-top: 1px solid transparent; }
a { color: var(--blue); } ::placeholder { color: var(--dim); opacity: 1; }
.frame, .thread { scroll-margin-top: 4rem; }
li.frame:target, details:target { background: var(--card); outline: 2px solid var(--blue); }
li.frame > a { color: var(--dim); text-decoration: none; font-size: .88rem; } li.frame > a:hover { text-decoration: underline; }
.mark { font-weight: 700; font-size: .82rem; } .mark.S { color: var(--blue); } .mark.A { color: var(--amber); } .mark { color: var(--dim); }
.fn { display: block; } .S .fn { font-weight: 700; color: var(--blue); } .A .fn { font-weight: 600; } .library .fn { font-weight: 400; color: var(--dim); } .H .fn, .N .fn { color: var(--dim); }
.place { color: var(--green); font-size: .9rem; margin-right: .8rem; display: inline-block; }
.note { padding-left: 4.1rem; font-style: italic; }
table { border-collapse: collapse; width: 100%; font-size: .92rem; }
th, td { text-align: left; vertical-align: top; padding: .25rem .8rem .25rem 0; border-top: 1px solid var(--line); }
td:first-child { min-width: 9.5rem; } td:nth-child(3) code { display: inline-block; width: 16.5ch; } td:nth-child(2) { white-space: nowrap; }
pre { white-space: pre-wrap; } pre span { display: block; min-height: 1.2em; }
.source { margin: .6rem 0; } .source pre { margin: .2rem 0; border: 1px solid var(--line); border-radius: .4rem; background: var(--bg);
  padding: .3rem 0; overflow-wrap: anywhere; }
.source span { display: grid; grid-template-columns: 3.2rem 1fr; padding: 0 .6rem 0 0; min-height: 1.4em; }
.source i { color: var(--dim); font-style: normal; text-align: right; padding-right: .8rem; user-select: none; }
.source .hit { box-shadow: inset .25rem 0 var(--red); font-weight: 700; background: var(--card); }
[hidden] { display: none !important; }
kbd { border: 1px solid var(--dim); border-radius: .25rem; padding: 0 .3rem; font-size: .8rem; }
footer { color: var(--dim); font-size: .85rem; margin: 1rem 0; }
svg { width: 100%; height: 4rem; display: block; border-bottom: 1px solid var(--dim); } rect { fill: var(--blue); }
.axis { display: flex; justify-content: space-between; color: var(--dim); font-size: .82rem; margin: .1rem 0 .6rem; gap: .5rem; }
.axis.each span { flex: 1 1 0; min-width: 0; }
@media (max-width: 50rem) {
  thead { display: none; } tr { display: block; padding: .3rem 0; border-top: 1px solid var(--line); }
  td:nth-child(3) code { width: auto; } td, td:nth-child(2) { display: block; border: 0; padding: 0; white-space: normal; }
  li.frame { grid-template-columns: 2.2rem 1.2rem 1fr; } .note { padding-left: 3.4rem; }
  main > .thread { margin: .25rem 0; padding: .2rem .6rem; }
  header dl { grid-template-columns: repeat(auto-fill, minmax(8rem, 1fr)); } nav input { flex-basis: 8rem; } #found { min-width: 0; }
}
@media print {
  :root { --bg: #fff; --card: #fff; --text: #000; --line: #999; --dim: #333; --red: #900; --green: #040; --blue: #006; --amber: #530; }
  nav, button, footer, .tools { display: none !important; } body { max-width: none; font-size: 10pt; padding: 0; }
  details { border: 0; padding: 0; } .crashed { border-left: .35rem solid var(--red); padding-left: .6rem; } li.frame { break-inside: avoid; } summary { list-style: none; font-weight: 600; }
}
)css";

const char kPageScript[] = R"js(
(function () {
  'use strict';
  var all = function (query, root) { return Array.prototype.slice.call((root || document).querySelectorAll(query)); };
  var search = document.getElementById('search'), found = document.getElementById('found');
  var folds = all('details'), start = folds.map(function (fold) { return fold.open; });
  var hits = null, shown = [], at = -1;
  function reset() { folds.forEach(function (fold, i) { fold.open = start[i]; }); }
  function unfoldAll(open) { folds.forEach(function (fold, i) { fold.open = open || start[i]; }); }
  // What can be found: an element, its text, and the addresses of an image.
  function index() {
    return all('.frame, .image, .word, .member, .thread > summary').map(function (element) {
      var hit = { element: element, text: element.textContent.toLowerCase() };
      if (element.classList.contains('image')) {
        var span = element.cells[1].textContent.split('\u00a0\u2013\u00a0');
        hit.start = BigInt(span[0]);
        hit.end = BigInt(span[1]);
      }
      return hit;
    });
  }
  // An address as it stands in texts, whatever zeros it was typed with; null for other texts.
  function addressOf(text) {
    return /^(0x)?[0-9a-f]{3,16}$/.test(text) ? BigInt('0x' + text.replace(/^0x/, '')) : null;
  }
  function matches(hit, text, address) {
    if (hit.text.indexOf(text) >= 0) return true;
    if (address === null) return false;
    if (hit.start !== undefined && hit.start <= address && address <= hit.end) return true;
    return hit.text.indexOf(address.toString(16).padStart(16, '0')) >= 0;
  }
  function find() {
    var text = search.value.trim().toLowerCase(), address = addressOf(text);
    if (hits === null) hits = index();
    shown = [];
    at = -1;
    document.body.classList.toggle('searching', text !== '');
    hits.forEach(function (hit) { hit.element.hidden = false; });
    all('.thread').forEach(function (thread) { thread.hidden = false; });
    reset();
    found.textContent = '';
    if (text === '') return;
    var keep = new Set();
    hits.forEach(function (hit) {
      var is = matches(hit, text, address);
      if (is) shown.push(hit.element);
      if (is) for (var up = hit.element; up; up = up.parentElement) keep.add(up);
      if (hit.element.tagName !== 'SUMMARY') hit.element.hidden = !is;
    });
    folds.forEach(function (fold) { fold.open = keep.has(fold); });
    all('.thread').forEach(function (thread) { thread.hidden = !keep.has(thread); });
    // A thread that is found itself is shown with its frames.
    shown.forEach(function (element) {
      if (element.tagName !== 'SUMMARY' && !element.classList.contains('member')) return;
      all('.frame', element.closest('details')).forEach(function (frame) { frame.hidden = false; });
    });
    found.textContent = shown.length + ' found';
  }
  function step(by) {
    if (!shown.length) return;
    at = (at + by + shown.length) % shown.length;
    shown[at].setAttribute('tabindex', '-1');
    shown[at].focus();
    shown[at].scrollIntoView({ block: 'center' });
  }
  function copy(text, button) {
    var said = button.textContent;
    function done() {
      button.textContent = 'Copied';
      setTimeout(function () { button.textContent = said; }, 1500);
    }
    function old() {
      var area = document.createElement('textarea');
      area.value = text;
      document.body.appendChild(area);
      area.select();
      document.execCommand('copy');
      area.remove();
      done();
    }
    if (navigator.clipboard) navigator.clipboard.writeText(text).then(done, old); else old();
  }
  function textOf(frame) {
    return all('a, .mark, .fn, .place, .where', frame).map(function (part) { return part.textContent.trim(); }).join('  ');
  }
  function threadText(fold) {
    var title = fold.querySelector('summary').textContent.trim();
    return [title].concat(all('.frame', fold).map(textOf)).join('\n') + '\n';
  }
  all('button[data-copy]').forEach(function (button) {
    button.addEventListener('click', function (event) {
      event.preventDefault();
      var what = button.getAttribute('data-copy');
      copy(what === '' ? threadText(button.closest('details')) : what, button);
    });
  });
  function follow() {
    var target = location.hash.length > 1 && document.getElementById(decodeURIComponent(location.hash.slice(1)));
    if (!target) return;
    for (var up = target; up; up = up.parentElement) if (up.tagName === 'DETAILS') up.open = true;
    target.scrollIntoView({ block: 'center' });
  }
  addEventListener('hashchange', follow);
  follow();
  var fold = document.getElementById('fold');
  function turn() {
    var open = fold.textContent === 'Unfold all';
    unfoldAll(open);
    fold.textContent = open ? 'Fold all' : 'Unfold all';
  }
  if (fold) fold.addEventListener('click', turn);
  if (search) search.addEventListener('input', find);
  var before = [];
  addEventListener('beforeprint', function () {
    before = folds.map(function (one) { return one.open; });
    unfoldAll(true);
  });
  addEventListener('afterprint', function () { folds.forEach(function (one, i) { one.open = before[i]; }); });
  addEventListener('keydown', function (event) {
    var typing = event.target === search;
    if (event.key === 'Escape' && search) { search.value = ''; find(); search.blur(); }
    if (typing && event.key === 'Enter') step(event.shiftKey ? -1 : 1);
    if (typing || event.ctrlKey || event.metaKey || event.altKey) return;
    if (event.key === '/' && search) { event.preventDefault(); search.focus(); search.select(); }
    if (event.key === 'n') step(1);
    if (event.key === 'p') step(-1);
    if (event.key === 'u' && fold) turn();
  });
})();
)js";

}  // namespace oru_report
