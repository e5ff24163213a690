// The page in a real browser, with the data that qv6d gives it. QV6D names the tool; SCREENSHOTS, if set, a directory.
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
  assert.ok(qv6d, "QV6D has to name the tool");
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

// Opens a report; every complaint and every request for anything but the page itself is kept.
async function open(name, options = {}) {
  const page = await browser.newPage({ viewport: { width: 1400, height: 900 }, ...options });
  const complaints = [];
  page.on("console", message => message.type() === "error" && complaints.push(message.text()));
  page.on("pageerror", error => complaints.push(String(error)));
  page.on("request", request => /^(file|data|blob):/.test(request.url()) || complaints.push(request.url()));
  await page.goto(`file://${at(name)}`);
  await page.waitForFunction(() => document.querySelectorAll(".js-plotly-plot").length > 0 || document.readyState === "complete");
  await page.waitForTimeout(1500);
  if (process.env.SCREENSHOTS)
    await page.screenshot({ path: join(process.env.SCREENSHOTS, `${name}-${options.colorScheme ?? "light"}-${options.viewport?.width ?? 1400}.png`), fullPage: true });
  return { page, complaints };
}

// Points of every chart, from the library's own data.
const points = page => page.evaluate(() => Object.fromEntries([...document.querySelectorAll(".js-plotly-plot")].map(chart =>
  [chart.id, chart.data.reduce((sum, trace) => sum + (trace.x?.length ?? 0), 0)])));

test("a recording: every chart holds its points, nothing complains, nothing is fetched", async () => {
  const { page, complaints } = await open("phone.html");
  assert.deepEqual(complaints, []);
  const held = await points(page);
  assert.ok(Object.keys(held).length >= 10, JSON.stringify(held));
  for (const [chart, n] of Object.entries(held))
    assert.ok(n >= 100, `${chart} holds ${n} points`);
  // The chart library's default button uploads the data to its maker.
  const buttons = await page.$$eval(".modebar-btn", all => all.map(button => button.dataset.title ?? button.getAttribute("aria-label") ?? ""));
  assert.ok(buttons.length > 0 && !buttons.some(title => /share|cloud|studio/i.test(title)), buttons.join(", "));
  assert.match(await page.textContent("#headline"), /^Calibrated since \d+\.\d s$/);
  assert.match(await page.textContent("#verdict"), /published offset is 0\.\d µT away/);
  await page.close();
});

test("zooming one time axis zooms all", async () => {
  const { page } = await open("phone.html");
  const ranges = await page.evaluate(async () => {
    const chart = document.getElementById("time"), axes = () => Object.entries(chart._fullLayout).filter(([name]) => /^xaxis\d*$/.test(name)).map(([, axis]) => axis.range.map(Math.round));
    chart.emit("plotly_relayouting", {});
    const first = Object.keys(chart._fullLayout).find(name => /^xaxis\d*$/.test(name));
    await window.Plotly.relayout(chart, { [`${first}.range`]: [10, 20] });
    return axes();
  });
  for (const range of ranges)
    assert.deepEqual(range, [10, 20]);
  await page.close();
});

test("a log alone gives the same cloud, and no configuration", async () => {
  const [recording, log] = [await open("phone.html"), await open("log.html")];
  assert.deepEqual(log.complaints, []);
  const count = async ({ page }) => (await points(page)).time;
  assert.equal(await count(log), await count(recording));
  await recording.page.close();
  await log.page.close();
});

test("one sample that is not a number, and a thinned recording, open without complaint", async () => {
  for (const name of ["one.html", "thin.html"]) {
    const { page, complaints } = await open(name);
    assert.deepEqual(complaints, [], name);
    assert.ok((await page.textContent("#headline")).length > 0);
    await page.close();
  }
});

test("light and dark, wide and narrow", async () => {
  const backgrounds = [];
  for (const colorScheme of ["light", "dark"]) {
    const { page, complaints } = await open("phone.html", { colorScheme, viewport: { width: 420, height: 900 } });
    assert.deepEqual(complaints, []);
    backgrounds.push(await page.evaluate(() => getComputedStyle(document.body).backgroundColor));
    const overflow = await page.evaluate(() => document.documentElement.scrollWidth - document.documentElement.clientWidth);
    assert.ok(overflow <= 1, `the narrow page is ${overflow} pixels too wide`);
    await page.close();
  }
  assert.notEqual(backgrounds[0], backgrounds[1]);
});
