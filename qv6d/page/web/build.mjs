// Writes the page, without its data, as one file that needs nothing else: node build.mjs OUT
import { createHash } from "node:crypto";
import { readFileSync, writeFileSync } from "node:fs";

const here = name => new URL(name, import.meta.url);
const read = name => readFileSync(here(name), "utf8");
const DATA = "__QV6D_PAGE_DATA__";
const LIBRARY = "node_modules/plotly.js-gl3d-dist-min/";

// Text that a script element may hold. What would end it early, or start a comment, can only stand inside strings and
// regular expressions, where the backslash changes nothing.
const inScript = text => text.replace(/<(?=\/script|!--)/gi, "<\\");

function replaceOnce(page, mark, text) {
  const parts = page.split(mark);
  if (parts.length !== 2)
    throw new Error(`${mark} stands ${parts.length - 1} times in the page, not once`);
  return parts.join(text);
}

// A recording's bytes are a stranger's: what would run, load, send or frame anything but the page's own scripts stays
// without effect. Data are no script. The chart library writes the style of its elements.
function policy(page) {
  const scripts = [...page.matchAll(/<script>(.*?)<\/script>/gs)].map(([, text]) =>
    `'sha256-${createHash("sha256").update(text).digest("base64")}'`);
  return `default-src 'none'; script-src ${scripts.join(" ")}; style-src 'unsafe-inline'; img-src data: blob:; ` +
    "base-uri 'none'; form-action 'none'";
}

const out = process.argv[2];
if (!out || process.argv.length !== 3) {
  console.error("usage: node build.mjs OUT");
  process.exit(2);
}
const scripts = ["data.js", "charts.js", "many.js", "page.js"].map(read).join("\n");
let page = read("index.html");
page = replaceOnce(page, "/*@css@*/", read("page.css"));
page = replaceOnce(page, "/*@js@*/", inScript(`(() => {\n"use strict";\n${scripts}})();`));
page = replaceOnce(page, "/*@library@*/", inScript(`/*! ${read(LIBRARY + "LICENSE")}*/\n${read(LIBRARY + "plotly-gl3d.min.js")}`));
page = replaceOnce(page, "/*@policy@*/", policy(page));
replaceOnce(page, DATA, "");
writeFileSync(out, page);
