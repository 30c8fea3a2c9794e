<?xml version="1.0" encoding="UTF-8"?>
<!-- SPDX-License-Identifier: MIT -->
<!-- The style of the page and of the fragment. Every rule holds below the class keldoctl only, so
     that a panel keeps its own look around the fragment. The sides are logical (start, end), so
     that the page turns with its direction. The width of the fragment counts, not that of the window.
     The font and its size, and the colour of headings and of the footer, are those of the page
     around. -->
<xsl:stylesheet version="1.0" xmlns:xsl="http://www.w3.org/1999/XSL/Transform">

  <xsl:template name="rules"><![CDATA[
.keldoctl {
  --surface: light-dark(#ffffff, #171c22); --inset: light-dark(#f3f5f8, #0f1317);
  --line: light-dark(#dde2e9, #2f3741); --edge: light-dark(#7d8897, #7b8796);
  --text: light-dark(#18202b, #e8ecf2); --quiet: light-dark(#525d6c, #a7b2c1);
  --link: light-dark(#1a56a8, #93c0ff);
  --down: light-dark(#b01030, #ff97a3); --down-tint: light-dark(#fdedef, #35161c);
  --unknown: light-dark(#7a4d00, #f2c45f); --unknown-tint: light-dark(#fdf4dd, #2f2510);
  --stopped: light-dark(#525d6c, #a7b2c1); --stopped-tint: light-dark(#eef1f5, #222932);
  --up: light-dark(#176a3a, #79d39b); --up-tint: light-dark(#e8f5ed, #12291d);
  --upgrade: light-dark(#1a56a8, #93c0ff); --upgrade-tint: light-dark(#e9f1fc, #15263f);
  container-type: inline-size; line-height: 1.5;
  text-align: start; overflow-wrap: anywhere;

  .down { --tone: var(--down); --tint: var(--down-tint); }
  .unknown { --tone: var(--unknown); --tint: var(--unknown-tint); }
  .stopped, .unchecked { --tone: var(--stopped); --tint: var(--stopped-tint); }
  .up { --tone: var(--up); --tint: var(--up-tint); }
  .upgrade { --tone: var(--upgrade); --tint: var(--upgrade-tint); }

  *, *::before, *::after { box-sizing: border-box; }
  h1, h2, h3, h4, h5, h6, p, ul, pre { margin: 0; padding: 0; font: inherit; }
  ul { list-style: none; }
  code, pre { font: 0.8125em/1.5 ui-monospace, "DejaVu Sans Mono", monospace; }
  .symbols { position: absolute; inline-size: 0; block-size: 0; }
  .sign {
    flex: none; inline-size: 1.125em; block-size: 1.125em; fill: currentColor; color: var(--tone);
  }
  .top, .rows, section > .names { color: var(--text); }
  .rows .quiet, .rows .label:not(.warning), .reason { color: var(--quiet); }
  .label, .note { font-size: 0.875em; }

  .top {
    display: flex; gap: 1em; padding: 1.25em; border-radius: 0.75em; background: var(--tint);
  }
  .top > .sign { inline-size: 2.25em; block-size: 2.25em; }
  .top > div { flex: 1; min-inline-size: 0; }
  .top > div > :first-child { font-size: 1.5em; line-height: 1.3; font-weight: 650; }
  .top span {
    display: inline-block; text-align: -webkit-match-parent; text-align: match-parent;
    text-wrap: pretty;
  }
  .note { margin-block-start: 0.5em; }
  .strip { display: flex; gap: 3px; margin-block-start: 0.875em; }
  .strip i { flex: 1; block-size: 0.5em; border-radius: 2px; background: var(--tone); }
  .strip .unknown {
    background: repeating-linear-gradient(135deg, var(--tone) 0 3px, var(--tint) 3px 6px);
  }
  .strip .stopped, .strip .unchecked { background: none; border: 1px solid var(--tone); }

  section { margin-block-start: 1.5em; }
  section > :is(h2, h3, h4, h5), section > p, .bar > :is(h2, h3, h4, h5) {
    margin-block-end: 0.5em;
  }
  section > :is(h2, h3, h4, h5), .bar > :is(h2, h3, h4, h5) { font-size: 1em; font-weight: 650; }
  .rows {
    border: 1px solid var(--line); border-radius: 0.75em; background: var(--surface);
    overflow: hidden;
  }
  .row { padding: 0.5em 1em; border-inline-start: 0.25em solid var(--tone); }
  .row + .row { border-block-start: 1px solid var(--line); }
  .rows:has(> :nth-child(9)) > .row { padding-block: 0.25em; }
  .row.unknown { border-inline-start-style: dashed; }
  .head { display: flex; gap: 0.75em; align-items: flex-start; }
  .head > .sign { margin-block-start: 0.1875em; }
  .what { flex: 1; min-inline-size: 0; }
  .what :is(h3, h4, h5, h6) { display: inline; font-weight: 600; }
  .what .reason { display: block; text-align: -webkit-match-parent; text-align: match-parent; }
  .since { font-size: 0.875em; white-space: nowrap; }
  .state { color: var(--tone); font-size: 0.875em; font-weight: 600; }
  summary { cursor: pointer; list-style: none; }
  summary::-webkit-details-marker { display: none; }
  summary::after {
    content: ""; display: inline-block; flex: none; inline-size: 0.5em; block-size: 0.5em;
    margin: 0.4375em 0.25em;
    border: solid var(--quiet); border-width: 0 2px 2px 0; transform: rotate(45deg);
  }
  [open] > summary::after { transform: rotate(225deg); }
  .more { padding-block: 0.5em 0.25em; padding-inline-start: 1.875em; }
  .more > * + * { margin-block-start: 0.5em; }
  .tests { font-size: 0.875em; }
  :is(.label, .tests) code { font-size: 0.9375em; }
  .failed .outcome { color: var(--down); font-weight: 600; }
  .untested { color: var(--quiet); }
  pre {
    max-block-size: 27em; padding: 0.625em 0.875em; border: 1px solid var(--line);
    border-radius: 0.5em; background: var(--inset); white-space: pre-wrap; overflow-y: auto;
  }
  .bar {
    display: flex; flex-wrap: wrap; gap: 0 1em; justify-content: space-between;
    align-items: flex-end;
  }
  .bar .repair {
    display: flex; flex-wrap: wrap; gap: 0 0.75em; align-items: center; margin-block-end: 0.5em;
  }
  form { margin: 0; }
  form button {
    border-color: var(--link); background: var(--link); color: var(--surface); font-weight: 600;
  }
  form button:hover { border-color: var(--text); background: var(--text); }
  .row > .repair, .advice { padding-block: 0.25em 0.125em; padding-inline-start: 1.875em; }
  .command { display: flex; flex-wrap: wrap; gap: 0.375em 0.5em; align-items: center; }
  .command code {
    padding: 0.3em 0.75em; border: 1px solid var(--line); border-radius: 0.625em;
    background: var(--inset); color: var(--text); -webkit-user-select: all; user-select: all;
  }
  .command span { display: inline-block; max-inline-size: 100%; white-space: pre-wrap; }
  button {
    flex: none; min-block-size: 2.3em; padding: 0.125em 0.875em; border: 1px solid var(--edge);
    border-radius: 0.625em; background: var(--surface); color: var(--text); font: inherit;
    font-size: 0.875em; white-space: nowrap; cursor: pointer;
  }
  button:hover { border-color: var(--text); }
  :focus-visible { outline: 3px solid var(--link); outline-offset: 2px; border-radius: 0.25em; }
  .repair .warning { color: var(--down); font-weight: 600; }

  .names {
    display: grid; grid-template-columns: repeat(auto-fill, minmax(min(16.5em, 100%), 1fr));
    gap: 0.375em 1em; align-items: start;
  }
  section > .names {
    padding: 0.75em 1em; border: 1px solid var(--line); border-radius: 0.75em;
    background: var(--surface);
  }
  .names > li { min-inline-size: 0; }
  .name { display: flex; gap: 0.75em; align-items: flex-start; }
  .name > span { min-inline-size: 0; }
  .name > .sign { margin-block-start: 0.1875em; }
  .row .names { padding: 0.25em 0 0.25em 1.875em; }
  .foot {
    display: flex; flex-wrap: wrap; gap: 0 1.25em; margin-block-start: 1.75em;
    padding-block-start: 0.75em;
    border-block-start: 1px solid var(--line); font-size: 0.875em;
  }
  .spoken {
    position: absolute; inline-size: 1px; block-size: 1px; overflow: hidden; clip-path: inset(50%);
  }

  @container (min-width: 44em) {
    .row:has(> .repair > form) {
      display: grid; grid-template-columns: minmax(0, 1fr) auto; gap: 1em;
    }
    .row > .repair:has(> form) { padding: 0; text-align: end; }
    .advice { margin-inline-start: calc(clamp(10em, 26cqi, 15em) + 1em); }
    .what:has(> .title), .row > .repair:not(:has(> form)) {
      display: grid; grid-template-columns: clamp(10em, 26cqi, 15em) minmax(0, 1fr); gap: 0 1em;
      align-items: baseline;
    }
  }
  @container (max-width: 30em) {
    .top { gap: 0.75em; padding: 1em; }
    .top > .sign { inline-size: 1.75em; block-size: 1.75em; }
    .top > div > :first-child { font-size: 1.25em; }
  }
  @media print {
    .row { break-inside: avoid; }
    pre { max-block-size: none; }
    button, summary::after { display: none; }
    .rows details::details-content { content-visibility: visible; }
  }
}
]]></xsl:template>

</xsl:stylesheet>
