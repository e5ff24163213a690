// What the page shows: one object, written by the tool.
//
// samples      columns of equal length, thinned for drawing; null where a value is not known. Fields, norms, radius and
//              offset (the one published) in microtesla, angles in degrees, t in seconds or, when not timed, in samples
// grades       spans {from, to, grade} of equal grade, not thinned
// events       {t, kind, what, figures}; not_ready are the full buffers that were not READY
// published    last published sphere {centre, radius}, or null
// best         least-squares sphere through all raw samples {centre, radius, residual}, or null
// coverage     {columns, rows, counts, share}: row by row from the lowest elevation, cells of equal area, or null
// config       {name, value, default, unit, meaning, changed}, or null
// counts       {samples, full_buffers, ready_buffers, outcomes, resets}, of all samples
// happened     {what, count}: outcomes of buffers and resets in words, those that happened
// grade_names  of the grades 0 to 3
const data = JSON.parse(document.getElementById("data").textContent);
const { samples, events, grades, counts, published, best, coverage, config } = data;
const GRADES = data.grade_names;
const unit = data.timed ? "s" : "samples";

// Kinds of events in the order of a calibration's life, each with a symbol of its own.
const KINDS = {
  start: { label: "start", symbol: "triangle-right", sign: "▶" },
  discarded: { label: "discarded", symbol: "circle-open", sign: "○" },
  refused: { label: "refused", symbol: "x", sign: "✕" },
  accepted: { label: "accepted", symbol: "circle", sign: "●" },
  validated: { label: "validated", symbol: "diamond", sign: "◆" },
  reset: { label: "reset", symbol: "triangle-down", sign: "▼" },
};

const known = value => Number.isFinite(value);
const indices = wanted => samples.t.flatMap((_, i) => (wanted(i) ? [i] : []));
const distance = (a, b) => Math.hypot(a[0] - b[0], a[1] - b[1], a[2] - b[2]);

// Without a published offset the calibrated field is the raw field once more, and says nothing.
const hasOffset = i => samples.off_x[i] !== 0 || samples.off_y[i] !== 0 || samples.off_z[i] !== 0;
const rawKnown = i => known(samples.raw_x[i]) && known(samples.raw_y[i]) && known(samples.raw_z[i]);
const calKnown = i => known(samples.cal_x[i]) && known(samples.cal_y[i]) && known(samples.cal_z[i]) && hasOffset(i);

// Mean and standard deviation of what is known, null of nothing.
function spread(values) {
  const list = values.filter(known);
  if (list.length === 0)
    return null;
  const mean = list.reduce((sum, v) => sum + v, 0) / list.length;
  return { n: list.length, mean, sd: Math.sqrt(list.reduce((sum, v) => sum + (v - mean) ** 2, 0) / list.length) };
}

const number = (value, digits = 1) => (known(value) ? value.toFixed(digits) : "–").replace("-", "−");
const vector = v => v.map(value => number(value)).join(", ");
const meanAndSpread = s => (s ? `${number(s.mean)} ± ${number(s.sd)} µT` : "–");
