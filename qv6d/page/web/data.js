// What the page shows: one object, written by the tool. `kind` says which.
//
// run      one replay or log:
//   samples      columns of equal length, thinned for drawing; null where a value is not known. Fields, norms, radius,
//                offset (the one published), scatter (of the buffer's axis that scatters least) and graded (the mean
//                distance of norm and radius that the grade saw) in microtesla, angles in degrees, t in seconds or, when
//                not timed, in samples
//   grades       spans {from, to, grade} of equal grade, not thinned
//   events       {t, kind, what, figures, span}; not_ready are the full buffers that were not READY
//   limits       {span, scatter, grades, clear} in microtesla, null where not known
//   rates        of each sensor heard: {t, rate_hz, gap_s}, equal parts of the recording
//   worth        of each grade, over all samples: {grade, samples, share, norm_ut, norm_sd_ut, norm_to_radius_ut,
//                offset_to_best_ut}
//   published    last published sphere {centre, radius}, or null
//   best         least-squares sphere through all raw samples {centre, radius, residual, reservation}, or null
//   coverage     {columns, rows, seen, used, seen_share, used_share, sides, dip_deg}: counts row by row from the lowest
//                elevation, cells of equal area; seen from the best centre, or null where there is none
//   config       {name, value, start, unit, meaning, changed}, or null; start is what the library starts with
//   counts       {samples, full_buffers, ready_buffers, outcomes, resets}, of all samples
//   happened     {what, count}: outcomes of buffers and resets in words, those that happened
//   answers      {calibrated, why, now}, each {text, more}
//   trust, plausibility, advice, run, true_offset    null where not known
// compare  runs: several of the above, to be laid over each other, each with its overview
// index    rows: overviews {title, page, text, ...} of runs with pages of their own, or with what is wrong with them
const data = JSON.parse(document.getElementById("data").textContent);

const known = value => Number.isFinite(value);
const at = id => document.getElementById(id);
const distance = (a, b) => Math.hypot(a[0] - b[0], a[1] - b[1], a[2] - b[2]);
const number = (value, digits = 1) => (known(value) ? value.toFixed(digits) : "–").replace("-", "−");
const vector = v => v.map(value => number(value)).join(", ");
const meanAndSpread = s => (s ? `${number(s.mean)} ± ${number(s.sd)} µT` : "–");
const share = value => (value <= 0 ? "–" : value < 0.01 ? "under 1 %" : `${number(100 * value, 0)} %`);

// Kinds of events in the order of a calibration's life, each with a symbol of its own.
const KINDS = {
  not_ready: { label: "not READY", symbol: "line-ew-open", sign: "–" },
  discarded: { label: "discarded", symbol: "circle-open", sign: "○" },
  refused: { label: "refused", symbol: "x", sign: "✕" },
  accepted: { label: "accepted", symbol: "circle", sign: "●" },
  validated: { label: "validated", symbol: "diamond", sign: "◆" },
  reset: { label: "reset", symbol: "triangle-down", sign: "▼" },
};

// Lines that stand together are told apart by their dashes too.
const TRIPLE = ["x", "y", "z"].map((style, i) => ({ style, dash: ["solid", "dash", "dot"][i], sign: ["——", "– –", "· · ·"][i] }));

// Words of the calibration, said where they stand.
const TERMS = {
  "READY": "good enough to be fitted: the device moved, and the field spans enough on every axis",
  "buffer": "the last samples, 25 of them unless configured otherwise; they are judged together",
  "smallest span": "greatest less least value within a buffer, of the axis where that is least",
  "spans": "greatest less least value of an axis within a buffer",
  "span": "greatest less least value of an axis within a buffer",
  "clear radius": "how far the calibrated field may miss the radius at the one check after a start (hcal.clearradius)",
  "radius": "of the sphere through the samples: the strength of the earth's field at that place",
  "offset": "the field of the device's own magnets, which is subtracted: the sphere's centre",
  "validated": "two READY buffers in a row of fits that agreed; only then is the offset relied upon",
  "residual": "how far the samples lie from the sphere, on average",
  "norm": "strength of the field, whatever its direction",
  "grade": "0 to 3, the library's own mark for its calibration",
};
const TERM = new RegExp(`\\b(${Object.keys(TERMS).join("|")})(?=s?\\b)`, "g");

// An element with attributes and children; texts stay texts.
function make(tag, attributes = {}, ...children) {
  const element = document.createElement(tag);
  for (const [name, value] of Object.entries(attributes))
    element.setAttribute(name, value);
  element.append(...children);
  return element;
}

// The text with each term explained the first time.
function glossed(text) {
  const told = new Set();
  return text.split(TERM).map((part, i) => {
    if (i % 2 === 0 || told.has(part))
      return part;
    told.add(part);
    return make("abbr", { tabindex: "0", "data-gloss": TERMS[part], "aria-label": `${part}: ${TERMS[part]}` }, part);
  });
}

// rows: arrays of cells, a cell being a text or an element; numeric: columns aligned right.
function table(caption, head, rows, numeric = []) {
  const cell = (tag, more) => (content, i) => make(tag, { ...more, class: numeric.includes(i) ? "number" : "" }, content);
  return make("table", {}, make("caption", {}, caption), make("thead", {}, make("tr", {}, ...head.map(cell("th", { scope: "col" })))),
    make("tbody", {}, ...rows.map(row => make("tr", {}, ...row.map(cell("td", {}))))));
}

const bar = part => make("span", { class: "bar", style: `width:${100 * part}%` });
const key = (style, sign) => make("span", sign ? { style: `color:var(--${style})`, "aria-hidden": "true" } : { class: "key", style: `background:var(--${style})` }, sign ?? "");

// The footer: what is needed to see the same again.
function showRun(run) {
  const list = at("run-facts"), line = (name, value) => value && list.append(make("div", {}, make("dt", {}, name), make("dd", {}, value)));
  if (!run)
    return;
  const options = Object.entries(run.options ?? {}).filter(([, value]) => ![null, false, 1, "ut"].includes(value)); // not the defaults
  line("Command", run.command_line && make("code", {}, run.command_line));
  line("Input", run.input);
  line("SHA-256", run.sha256);
  line("Options", options.map(([name, value]) => (value === true ? name : `${name} ${value}`)).join(", "));
  line("Program", run.version);
  line("Date", run.date);
}
