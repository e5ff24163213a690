// The page in a real browser, with the data that qv6d gives it. QV6D names the tool.
import assert from "node:assert/strict";
import { execFileSync } from "node:child_process";
import { mkdtempSync, rmSync, writeFileSync } from "node:fs";
import { tmpdir } from "node:os";
import { join } from "node:path";
import { after, before, test } from "node:test";
import { chromium } from "playwright-core";

const qv6d = process.env.QV6D;
const work = mkdtempSync(join(tmpdir(), "qv6d-report-"));
const at = name => join(work, name);
const run = (...args) => execFileSync(qv6d, args, { stdio: ["ignore", "ignore", "pipe"] });
let browser;

before(async () => {
  run("simulate", "--seed", "7", "--offset", "120,-45,-300", "--noise", "0.3", "-o", at("phone.csv"));
  run("replay", at("phone.csv"), "--report", at("phone.html"), "-o", at("rows.csv"));
  writeFileSync(at("debug.cfg"), "hcal.endbg=1\nhcal.motion.endbg=1\nhcal.rlsm.endbg=1\n");
  run("replay", at("phone.csv"), "--config", at("debug.cfg"), "--log", at("phone.log"), "-o", at("rows.csv"));
  run("explain", at("phone.log"), "--report", at("log.html"));
  writeFileSync(at("one.csv"), "t_ns,sensor,x,y,z\n0,mag,nan,inf,3\n");
  run("replay", at("one.csv"), "--report", at("one.html"), "-o", at("rows.csv"));
  run("replay", at("phone.csv"), "--every", "3", "--report", at("thin.html"), "-o", at("rows.csv"));
  browser = await chromium.launch({
    executablePath: "/usr/bin/chromium",
    args: ["--headless", "--no-sandbox", "--disable-quic", "--no-first-run", "--disable-background-networking",
      "--disable-component-update", "--disable-sync", "--use-gl=angle", "--use-angle=swiftshader", "--enable-unsafe-swiftshader"],
  });
});

after(async () => {
  await browser?.close();
  rmSync(work, { recursive: true });
});

// Hands an open report to `look`, and holds that it complained of nothing and asked for nothing but itself.
async function open(name, look, options = {}) {
  const page = await browser.newPage({ viewport: { width: 1400, height: 900 }, ...options });
  page.setDefaultTimeout(120_000); // a busy machine
  const complaints = [];
  page.on("console", message => message.type() === "error" && complaints.push(message.text()));
  page.on("pageerror", error => complaints.push(String(error)));
  page.on("request", request => /^(file|data|blob):/.test(request.url()) || complaints.push(request.url()));
  await page.goto(`file://${at(name)}`);
  await page.waitForFunction(() => document.querySelectorAll(".js-plotly-plot").length > 0 || document.readyState === "complete");
  await page.waitForTimeout(1500);
  const seen = await look(page);
  assert.deepEqual(complaints, [], name);
  await page.close();
  return seen;
}

// Points of every chart, from the library's own data.
const points = page => page.evaluate(() => Object.fromEntries([...document.querySelectorAll(".js-plotly-plot")].map(chart =>
  [chart.id, chart.data.reduce((sum, trace) => sum + (trace.x?.length ?? 0), 0)])));

test("a recording: every chart holds its points, and the words are those of the verdict", () => open("phone.html", async page => {
  const held = await points(page);
  assert.ok(Object.keys(held).length >= 10, JSON.stringify(held));
  for (const [chart, n] of Object.entries(held))
    assert.ok(n >= 100, `${chart} holds ${n} points`);
  // The chart library's default button uploads the data to its maker.
  const buttons = await page.$$eval(".modebar-btn", all => all.map(button => button.dataset.title ?? button.getAttribute("aria-label") ?? ""));
  assert.ok(buttons.length > 0 && !buttons.some(title => /share|cloud|studio/i.test(title)), buttons.join(", "));
  assert.match(await page.textContent("#headline"), /^Calibrated since \d+\.\d s$/);
  assert.match(await page.textContent("#verdict"), /published offset is 0\.\d µT away/);
  assert.match(await page.textContent("#fates"), /READY, fit accepted and validated\d/);
  assert.match(await page.textContent("#worth"), /0 unreliable.*3 best/);
}));

test("zooming one panel over time zooms all: they share their axis", () => open("phone.html", async page => {
  const axes = await page.evaluate(() => Object.keys(document.getElementById("time")._fullLayout).filter(name => /^[xy]axis\d*$/.test(name)));
  assert.deepEqual([axes.filter(name => name.startsWith("x")).length, axes.filter(name => name.startsWith("y")).length], [1, 6]);
}));

test("a log alone gives the same cloud", async () => {
  const count = page => points(page).then(held => held.time);
  assert.equal(await open("log.html", count), await open("phone.html", count));
});

test("one sample that is not a number, and a thinned recording, have a headline", async () => {
  for (const name of ["one.html", "thin.html"])
    assert.ok((await open(name, page => page.textContent("#headline"))).length > 0);
});

test("light and dark, and narrow", async () => {
  const background = colorScheme => open("phone.html", async page => {
    const overflow = await page.evaluate(() => document.documentElement.scrollWidth - document.documentElement.clientWidth);
    assert.ok(overflow <= 1, `the narrow page is ${overflow} pixels too wide`);
    return page.evaluate(() => getComputedStyle(document.body).backgroundColor);
  }, { colorScheme, viewport: { width: 420, height: 900 } });
  assert.notEqual(await background("light"), await background("dark"));
});
