<?xml version="1.0" encoding="UTF-8"?>
<!-- SPDX-License-Identifier: MIT -->
<!-- The style of the page and of the fragment. Every rule holds below the class keldoctl only, so
     that a panel keeps its own look around the fragment. The sides are logical (start, end), so that
     the page turns with its direction. The width of the fragment counts, not that of the window.
     Headings and the footer have the colour and the font of the page around them. -->
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
  container-type: inline-size; font-size: 1rem; line-height: 1.5;
  text-align: start; overflow-wrap: anywhere;

  .down { --tone: var(--down); --tint: var(--down-tint); }
  .unknown { --tone: var(--unknown); --tint: var(--unknown-tint); }
  .stopped, .unchecked { --tone: var(--stopped); --tint: var(--stopped-tint); }
  .up { --tone: var(--up); --tint: var(--up-tint); }
  .upgrade { --tone: var(--upgrade); --tint: var(--upgrade-tint); }

  *, *::before, *::after { box-sizing: border-box; }
  h1, h2, h3, h4, h5, h6, p, ul, pre { margin: 0; padding: 0; font: inherit; }
  ul { list-style: none; }
  code, pre { font: 0.8125rem/1.5 ui-monospace, "DejaVu Sans Mono", monospace; }
  .symbols { position: absolute; inline-size: 0; block-size: 0; }
  .sign { flex: none; inline-size: 1.125rem; block-size: 1.125rem; fill: currentColor; color: var(--tone); }
  .top, .rows, section > .names { color: var(--text); }
  .rows .quiet, .rows .label:not(.warning), .reason { color: var(--quiet); }
  .label, .note { font-size: 0.875rem; }

  .top {
    display: flex; gap: 1rem; padding: 1.25rem; border-radius: 0.75rem; background: var(--tint);
  }
  .top > .sign { inline-size: 2.25rem; block-size: 2.25rem; }
  .top > div { flex: 1; min-inline-size: 0; }
  .top > div > :first-child { font-size: 1.5rem; line-height: 1.3; font-weight: 650; }
  .top span { display: inline-block; text-align: -webkit-match-parent; text-align: match-parent; text-wrap: pretty; }
  .note { margin-block-start: 0.5rem; }
  .strip { display: flex; gap: 3px; margin-block-start: 0.875rem; }
  .strip i { flex: 1; block-size: 0.5rem; border-radius: 2px; background: var(--tone); }
  .strip .unknown {
    background: repeating-linear-gradient(135deg, var(--tone) 0 3px, var(--tint) 3px 6px);
  }
  .strip .stopped, .strip .unchecked { background: none; border: 1px solid var(--tone); }

  section { margin-block-start: 1.5rem; }
  section > :is(h2, h3, h4, h5), section > p, .bar > :is(h2, h3, h4, h5) { margin-block-end: 0.5rem; }
  section > :is(h2, h3, h4, h5), .bar > :is(h2, h3, h4, h5) { font-size: 1rem; font-weight: 650; }
  .rows { border: 1px solid var(--line); border-radius: 0.75rem; background: var(--surface); overflow: hidden; }
  .row { padding: 0.5rem 1rem; border-inline-start: 0.25rem solid var(--tone); }
  .row + .row { border-block-start: 1px solid var(--line); }
  .rows:has(> :nth-child(9)) > .row { padding-block: 0.25rem; }
  .row.unknown { border-inline-start-style: dashed; }
  .head { display: flex; gap: 0.75rem; align-items: flex-start; }
  .head > .sign { margin-block-start: 0.1875rem; }
  .what { flex: 1; min-inline-size: 0; }
  .what :is(h3, h4, h5, h6) { display: inline; font-weight: 600; }
  .what .reason { display: block; text-align: -webkit-match-parent; text-align: match-parent; }
  .state { color: var(--tone); font-size: 0.875rem; font-weight: 600; }
  summary { cursor: pointer; list-style: none; }
  summary::-webkit-details-marker { display: none; }
  summary::after {
    content: ""; display: inline-block; flex: none; inline-size: 0.5rem; block-size: 0.5rem; margin: 0.4375rem 0.25rem;
    border: solid var(--quiet); border-width: 0 2px 2px 0; transform: rotate(45deg);
  }
  [open] > summary::after { transform: rotate(225deg); }
  .more { padding-block: 0.5rem 0.25rem; padding-inline-start: 1.875rem; }
  .more > * + * { margin-block-start: 0.5rem; }
  .tests { font-size: 0.875rem; }
  .failed .outcome { color: var(--down); font-weight: 600; }
  .untested { color: var(--quiet); }
  pre {
    max-block-size: 22rem; padding: 0.5rem 0.75rem; border: 1px solid var(--line);
    border-radius: 0.5rem; background: var(--inset); white-space: pre-wrap; overflow-y: auto;
  }
  .bar { display: flex; flex-wrap: wrap; gap: 0 1rem; justify-content: space-between; align-items: flex-end; }
  .bar .repair { display: flex; flex-wrap: wrap; gap: 0 0.75rem; align-items: center; margin-block-end: 0.5rem; }
  form { margin: 0; }
  form button { border-color: var(--link); background: var(--link); color: var(--surface); font-weight: 600; }
  form button:hover { border-color: var(--text); background: var(--text); }
  .row > .repair, .advice { padding-block: 0.25rem 0.125rem; padding-inline-start: 1.875rem; }
  .command { display: flex; flex-wrap: wrap; gap: 0.375rem 0.5rem; align-items: center; }
  .command code {
    color: var(--text);
    padding: 0.25rem 0.625rem; border: 1px solid var(--line); border-radius: 0.5rem;
    background: var(--inset); -webkit-user-select: all; user-select: all;
  }
  .command span { display: inline-block; max-inline-size: 100%; white-space: pre-wrap; }
  button {
    flex: none; min-block-size: 2rem; padding: 0.125rem 0.75rem; border: 1px solid var(--edge);
    border-radius: 0.5rem; background: var(--surface); color: var(--text); font: inherit;
    font-size: 0.875rem; white-space: nowrap; cursor: pointer;
  }
  button:hover { border-color: var(--text); }
  :focus-visible { outline: 3px solid var(--link); outline-offset: 2px; border-radius: 0.25rem; }
  .repair .warning { color: var(--down); font-weight: 600; }

  .names {
    display: grid; grid-template-columns: repeat(auto-fill, minmax(min(16.5rem, 100%), 1fr));
    gap: 0.375rem 1rem; align-items: start;
  }
  section > .names {
    padding: 0.75rem 1rem; border: 1px solid var(--line); border-radius: 0.75rem; background: var(--surface);
  }
  .names > li { min-inline-size: 0; }
  .name { display: flex; gap: 0.75rem; align-items: flex-start; }
  .name > span { min-inline-size: 0; }
  .name > .sign { margin-block-start: 0.1875rem; }
  .row .names { padding: 0.25rem 0 0.25rem 1.875rem; }
  .foot {
    display: flex; flex-wrap: wrap; gap: 0 1.25rem; margin-block-start: 1.75rem; padding-block-start: 0.75rem;
    border-block-start: 1px solid var(--line); font-size: 0.875rem;
  }
  .spoken {
    position: absolute; inline-size: 1px; block-size: 1px; overflow: hidden; clip-path: inset(50%);
  }

  @container (min-width: 44rem) {
    .row:has(> .repair > form) { display: grid; grid-template-columns: minmax(0, 1fr) auto; gap: 1rem; }
    .row > .repair:has(> form) { padding: 0; text-align: end; }
    .advice { margin-inline-start: calc(clamp(10rem, 26cqi, 15rem) + 1rem); }
    .what:has(> .title), .row > .repair:not(:has(> form)) {
      display: grid; grid-template-columns: clamp(10rem, 26cqi, 15rem) minmax(0, 1fr); gap: 0 1rem;
      align-items: baseline;
    }
  }
  @container (max-width: 30rem) {
    .top { gap: 0.75rem; padding: 1rem; }
    .top > .sign { inline-size: 1.75rem; block-size: 1.75rem; }
    .top > div > :first-child { font-size: 1.25rem; }
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
