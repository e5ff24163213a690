// The page in a real browser, with the data that qv6d gives it. QV6D names the tool.
import assert from "node:assert/strict";
import { execFileSync } from "node:child_process";
import { cpSync, mkdtempSync, readFileSync, rmSync, writeFileSync } from "node:fs";
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
  writeFileSync(at("slow.cfg"), "hcal.rbufsize=40\n");
  run("replay", at("phone.csv"), "--config", at("debug.cfg"), "--config", at("slow.cfg"), "--report", at("both.html"));
  assert.throws(() => run("replay", at("phone.csv"), at("one.csv"), at("missing.csv"), "--report", at("all")), { status: 4 });
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

// Hands an open report to `look`, and holds that it complained of nothing and asked for nothing but itself. The browser
// says what the page's policy refused.
async function open(name, look, { refused, ...options } = {}) {
  const page = await browser.newPage({ viewport: { width: 1400, height: 900 }, ...options });
  page.setDefaultTimeout(120_000); // a busy machine
  const complaints = [];
  page.on("console", message => message.type() === "error" && complaints.push(message.text()));
  page.on("pageerror", error => complaints.push(String(error)));
  const asked = new Set();
  page.on("request", request => /^(file|data|blob):/.test(request.url()) || asked.add(request.url()));
  page.on("requestfailed", request => refused && request.failure().errorText === "csp" && asked.delete(request.url()));
  await page.goto(`file://${at(name)}`);
  await page.waitForFunction(() => document.querySelectorAll(".js-plotly-plot").length > 0 || document.readyState === "complete");
  await page.waitForTimeout(1500);
  const seen = await look(page);
  assert.deepEqual([...complaints.filter(text => !refused?.test(text)), ...asked], [], name);
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
  assert.match(await page.textContent("#answers"), /^Did it calibrate\?Yes, since \d+\.\d s\./);
  assert.match(await page.textContent("#figures"), /Published to best0\.\d µT/);
  assert.match(await page.textContent("#fates"), /READY, fit accepted and validated\d/);
  assert.match(await page.textContent("#worth"), /0 unreliable.*3 best/);
}));

test("zooming one panel over time zooms all charts over time", () => open("phone.html", async page => {
  const axes = await page.evaluate(() => Object.keys(document.getElementById("time")._fullLayout).filter(name => /^[xy]axis\d*$/.test(name)));
  assert.deepEqual([axes.filter(name => name.startsWith("x")).length, axes.filter(name => name.startsWith("y")).length], [1, 6]);
  const ranges = await page.evaluate(async () => {
    await Plotly.relayout("time", { "xaxis.range[0]": 5, "xaxis.range[1]": 9 });
    return ["gates-chart", "distance", "rates"].map(id => document.getElementById(id).layout.xaxis.range);
  });
  assert.deepEqual(ranges, [[5, 9], [5, 9], [5, 9]]);
}));

test("the wheel over a sphere scrolls the page", () => open("phone.html", async page => {
  await page.locator("#cloud-raw").scrollIntoViewIfNeeded();
  await page.hover("#cloud-raw");
  const before = await page.evaluate(() => scrollY);
  await page.mouse.wheel(0, 300);
  await page.waitForTimeout(500);
  assert.ok(await page.evaluate(() => scrollY) > before + 100);
}));

test("a log alone gives the same cloud, and no empty panel of angles", async () => {
  const count = page => points(page).then(held => held["cloud-raw"]);
  assert.equal(await open("log.html", count), await open("phone.html", count));
  assert.equal(await open("log.html", page => page.evaluate(() => document.getElementById("time").layout.yaxis6)), undefined);
});

test("what contradicts the grade is said, and marked over time", async () => {
  const trust = { verdict: "contradicted", text: "No: it was wrong.", contradictions: [{ from_s: 20, to_s: 30, kind: "norm", by_ut: 25, text: "20 µT apart" }] };
  writeFileSync(at("wrong.html"), readFileSync(at("phone.html"), "utf8").replace(/"trust":\{.*?\},"plausibility"/, `"trust":${JSON.stringify(trust)},"plausibility"`));
  await open("wrong.html", async page => {
    assert.match(await page.textContent("#answers"), /Can I trust the grade\?No: the recording contradicts it\.No: it was wrong\./);
    assert.match(await page.textContent("#contradictions"), /20\.030\.025\.020 µT apart/);
    assert.ok(await page.evaluate(() => document.getElementById("time").layout.shapes.some(shape => shape.x0 === 20 && shape.x1 === 30)));
  });
});

test("two configurations lie over each other, and the key that differs is named", () => open("both.html", async page => {
  const traces = await page.evaluate(() => document.getElementById("compare-time").data.map(trace => trace.line.dash));
  assert.deepEqual(traces, Array(4).fill(["solid", "dash"]).flat());
  assert.match(await page.textContent("#compare-table"), /debug\.cfg.*Calibrated since.*slow\.cfg/);
  assert.match(await page.textContent("#compare-config"), /hcal\.rbufsize2540$/);
}));

test("a table of recordings leads to their pages, and a missing one has its row", () => open("all/index.html", async page => {
  assert.match(await page.textContent("#rows"), /phone\.csv.*Calibrated since.*one\.csv.*missing\.csv.*cannot be opened/);
  await page.click("text=phone.csv");
  await page.waitForSelector("#time .main-svg");
  assert.equal(await page.textContent("#headline"), "phone.csv");
  assert.equal(await page.getAttribute("#source a", "href"), "index.html");
}));

test("one sample that is not a number, and a thinned recording, have a headline", async () => {
  for (const name of ["one.html", "thin.html"])
    assert.ok((await open(name, page => page.textContent("#headline"))).length > 0);
});

test("a name with markup is text, and where markup gets in all the same it runs nothing and loads nothing", async () => {
  const name = "<!--<script><img src=x onerror=ran=1>.csv", hostile = "<base href='https://example.org/'><script>ran=1</script>" +
    "<img src='https://example.org/x' onerror='ran=1'><iframe srcdoc='<script>parent.ran=1</script>'></iframe><svg onload='ran=1'></svg>";
  cpSync(at("phone.csv"), at(name));
  run("replay", at(name), "--report", at("named.html"), "-o", at("rows.csv"));
  const ran = async page => [await page.evaluate(() => globalThis.ran), await page.textContent("#headline"), Object.keys(await points(page)).length >= 10];
  assert.deepEqual(await open("named.html", ran), [undefined, name, true]);
  writeFileSync(at("injected.html"), readFileSync(at("phone.html"), "utf8").replace("<header>", `${hostile}<header>`));
  assert.deepEqual(await open("injected.html", ran, { refused: /Content Security Policy/ }), [undefined, "phone.csv", true]);
});

test("light and dark, and narrow", async () => {
  const background = colorScheme => open("phone.html", async page => {
    const overflow = await page.evaluate(() => document.documentElement.scrollWidth - document.documentElement.clientWidth);
    assert.ok(overflow <= 1, `the narrow page is ${overflow} pixels too wide`);
    return page.evaluate(() => getComputedStyle(document.body).backgroundColor);
  }, { colorScheme, viewport: { width: 420, height: 900 } });
  assert.notEqual(await background("light"), await background("dark"));
});
