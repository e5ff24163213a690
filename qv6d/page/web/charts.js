// Of a run; the other pages have none.
const { samples, events, grades, counts, published, best, coverage, config } = data;
const GRADES = data.grade_names;
const unit = data.timed ? "s" : "samples";
const indices = wanted => samples.t.flatMap((_, i) => (wanted(i) ? [i] : []));

// Without a published offset the calibrated field is the raw field once more, and says nothing.
const hasOffset = i => samples.off_x[i] !== 0 || samples.off_y[i] !== 0 || samples.off_z[i] !== 0;
const rawKnown = i => known(samples.raw_x[i]) && known(samples.raw_y[i]) && known(samples.raw_z[i]);
const calKnown = i => known(samples.cal_x[i]) && known(samples.cal_y[i]) && known(samples.cal_z[i]) && hasOffset(i);

const colour = name => getComputedStyle(document.documentElement).getPropertyValue(`--${name}`).trim();
// A recording is its owner's: the button that would hand a chart to the library's maker, there by default, is not.
const CONFIG = { displaylogo: false, showSendToCloud: false, plotlyServerURL: "", modeBarButtonsToRemove: ["select2d", "lasso2d", "autoScale2d"] };
const TOUCH = matchMedia("(pointer: coarse)").matches; // there a drag scrolls the page
const PROJECTED = 1500; // points per projection: each is an element of its own

// The library reads texts as mark-up.
const escaped = text => String(text).replace(/&/g, "&amp;").replace(/</g, "&lt;");
const wrapped = text => escaped(text).replace(/(.{40,60}?,?) (?=.)/g, "$1<br>");

function look() {
  const axis = { color: colour("soft"), gridcolor: colour("line"), zerolinecolor: colour("line"), linecolor: colour("line") };
  return {
    axis,
    layout: {
      paper_bgcolor: "rgba(0,0,0,0)", plot_bgcolor: "rgba(0,0,0,0)", showlegend: false, uirevision: "kept",
      font: { color: colour("text"), family: "system-ui, sans-serif", size: 12 },
      hoverlabel: { bgcolor: colour("panel"), bordercolor: colour("line"), font: { color: colour("text") }, align: "left" },
      modebar: { bgcolor: "rgba(0,0,0,0)", color: colour("soft"), activecolor: colour("link") },
    },
  };
}

// Draws, or says in words that there is nothing to draw.
function plot(id, label, traces, layout, nothing) {
  const element = document.getElementById(id);
  if (nothing) {
    const text = document.createElement("p");
    text.className = "empty";
    text.textContent = nothing;
    element.replaceChildren(text);
    return;
  }
  element.setAttribute("aria-label", label);
  Plotly.react(element, traces, { ...look().layout, width: element.clientWidth, ...layout }, CONFIG);
}

// ---- over time

// From a tenth up to the greatest value: less is noise.
const logarithmic = values => {
  const most = values.filter(known).reduce((a, b) => Math.max(a, b), 10);
  return { type: "log", dtick: 1, exponentformat: "none", range: [-1, Math.log10(3 * most)] };
};

function ends(times) {
  const first = times.reduce((a, b) => Math.min(a, b), Infinity), last = times.reduce((a, b) => Math.max(a, b), -Infinity);
  const room = Math.max(0.01 * (last - first), 0.1); // for the markers at the ends
  return times.length ? [first - room, last + room] : [0, 1];
}

const timeCharts = new Set();
let whole = [0, 1];

// Panels from top to bottom that share their axis of time: {title, height, axis, traces, shapes}. Titles stand above, as
// they do not fit beside.
function drawPanels(id, label, panels, { range, timed, shapes }, nothing) {
  const { axis } = look(), gap = 34, margin = { l: 74, r: 12, t: 28, b: 44 };
  const inner = panels.reduce((sum, panel) => sum + panel.height, (panels.length - 1) * gap), name = i => `y${i ? i + 1 : ""}`;
  const layout = {
    height: inner + margin.t + margin.b, margin, annotations: [], hovermode: "x unified", hoversubplots: "axis", dragmode: TOUCH ? false : "zoom",
    shapes: [...shapes, ...panels.flatMap((panel, i) => (panel.shapes ?? []).map(shape => ({ ...shape, yref: name(i) })))],
    xaxis: { ...axis, anchor: name(panels.length - 1), title: { text: timed ? "seconds" : "sample" }, range, zeroline: false, hoverformat: timed ? ".2f" : "d",
      unifiedhovertitle: { text: timed ? "<b>%{x} s</b>" : "<b>sample %{x}</b>" } },
  };
  let top = inner;
  panels.forEach((panel, i) => {
    layout[`yaxis${i ? i + 1 : ""}`] = { ...axis, domain: [(top - panel.height) / inner, top / inner], zeroline: false, nticks: 6, ...panel.axis };
    layout.annotations.push({ text: panel.title, xref: "paper", yref: "paper", x: 0, y: top / inner, yshift: 2, xanchor: "left", yanchor: "bottom", align: "left", showarrow: false });
    top -= panel.height + gap;
  });
  whole = range;
  plot(id, label, panels.flatMap((panel, i) => panel.traces.map(trace => ({ ...trace, xaxis: "x", yaxis: name(i) }))), layout, nothing);
  if (nothing || timeCharts.has(id))
    return;
  timeCharts.add(id);
  at(id).on("plotly_relayout", change => {
    if (change["xaxis.autorange"])
      zoomTime(null);
    else if (known(change["xaxis.range[0]"]))
      zoomTime([change["xaxis.range[0]"], change["xaxis.range[1]"]], id);
  });
}

// All charts over time show the same part of it.
function zoomTime(range, from) {
  for (const id of timeCharts)
    if (id !== from)
      Plotly.relayout(id, { "xaxis.range": range ?? whole });
}

function gradePath(grade, low, high) {
  return grades.filter(g => g.grade === grade).map(g => `M${g.from},${low}L${g.to},${low}L${g.to},${high}L${g.from},${high}Z`).join("");
}

const gradeShapes = (low, high, more) => GRADES.map((_, grade) =>
  ({ type: "path", xref: "x", layer: "below", line: { width: 0 }, fillcolor: colour(`grade${grade}`), path: gradePath(grade, low, high), ...more })).filter(shape => shape.path);

const LINES_MAX = 60; // of a kind of events; more would hide the curves

function eventLines() {
  const lines = { accepted: { width: 0.5 }, validated: { width: 1, dash: "dash" }, reset: { width: 2.5 } };
  return Object.entries(lines).map(([kind, line]) => {
    const mine = events.filter(e => e.kind === kind && known(e.t));
    return {
      type: "path", xref: "x", yref: "paper", layer: "below", opacity: 0.7, line: { ...line, color: colour(kind) },
      path: mine.length > LINES_MAX ? "" : mine.map(e => `M${e.t},0L${e.t},1`).join(""),
    };
  }).filter(shape => shape.path);
}

const contradictions = () => (data.trust?.contradictions ?? []).map(c => ({
  type: "rect", xref: "x", yref: "paper", x0: c.from_s, x1: c.to_s, y0: 0, y1: 1, layer: "below", opacity: 0.25, fillcolor: colour("wrong"), line: { color: colour("wrong"), width: 2, dash: "dot" },
}));

function overTime() {
  const times = [...samples.t, ...events.map(e => e.t), ...grades.flatMap(g => [g.from, g.to])].filter(known);
  return { range: ends(times), timed: data.timed, shapes: [...gradeShapes(0, 1, { yref: "paper", opacity: 0.09 }), ...contradictions(), ...eventLines()] };
}

// Angles jump where they wrap: no line is drawn across.
const unwrapped = values => values.map((v, i) => (i > 0 && Math.abs(v - values[i - 1]) > 180 ? null : v));

const line = (y, name, style, more = {}) => ({
  type: "scatter", mode: samples.t.length < 50 ? "lines+markers" : "lines", x: samples.t, y, name, connectgaps: false, // a single sample has no line
  hovertemplate: `${name} %{y:.1f}<extra></extra>`, ...more, line: { width: 1.2, color: colour(style), ...more.line },
});
const limitLine = (value, name, range) => (known(value) ? [line([value, value], name, "limit", { mode: "lines", x: range, line: { dash: "dash", width: 1.5 }, hoverinfo: "skip", hovertemplate: "" })] : []);
const swatch = (style, text, sign = "——") => `<span style="color:${colour(style)}"><b>${sign}</b></span> ${text}`;
const triple = names => names.map((name, i) => swatch(TRIPLE[i].style, name, TRIPLE[i].sign)).join("   ");
const tripleLines = (names, values) => names.map((name, i) => line(values[i], name, TRIPLE[i].style, { line: { width: 1.6, dash: TRIPLE[i].dash } }));

function eventMarkers(kind, y, more = {}) {
  const { label, symbol } = KINDS[kind], mine = events.filter(e => e.kind === kind && known(e.t));
  return {
    type: "scatter", mode: "markers", name: label, x: mine.map(e => e.t), y: mine.map(y),
    marker: { symbol, size: 9, color: colour(kind), line: { width: 1, color: colour(kind) } },
    hovertext: mine.map(e => `${wrapped(e.what)}${e.figures ? `<br>${wrapped(e.figures)}` : ""}`), hovertemplate: "%{hovertext}<extra></extra>", ...more,
  };
}

function timePanels() {
  const radius = published?.radius ?? best?.radius, shown = Object.keys(KINDS).slice(1), names = shown.map(kind => KINDS[kind].label);
  const sometimes = (column, wanted) => samples[column].map((v, i) => (wanted(i) ? v : null));
  const angles = ["azimuth", "pitch", "roll"], panels = [
    { height: 115, title: "Events", axis: { type: "category", categoryorder: "array", range: [-0.6, 4.6], dtick: 1, fixedrange: true, categoryarray: names.slice().reverse() },
      traces: shown.map(kind => eventMarkers(kind, () => KINDS[kind].label)) },
    { height: 70, title: "Grade", axis: { range: [-0.5, 3.5], dtick: 1, fixedrange: true }, shapes: gradeShapes(-0.5, 3.5, { opacity: 0.55 }), traces: [
      line(grades.flatMap(g => [g.grade, g.grade]), "grade", "text", { x: grades.flatMap(g => [g.from, g.to]), hoverinfo: "skip", hovertemplate: "" }),
      line(samples.grade, "sample's grade", "text", { line: { width: 0 }, hovertemplate: "grade %{y}<extra></extra>" })] }, // for the hover only
    { height: 120, title: `Raw norm, µT ${swatch("raw", "")}`, traces: [line(samples.raw_norm, "raw norm", "raw")] },
  ];
  if (samples.t.some((_, i) => hasOffset(i)))
    panels.push(
      { height: 190, title: `Calibrated norm, µT ${swatch("cal", "")}   radius ${swatch("radius", "", "– –")}`, axis: known(radius) ? { range: [0, 2 * radius] } : {}, traces: [
        line(sometimes("cal_norm", hasOffset), "calibrated norm", "cal"),
        line(sometimes("radius", i => samples.radius[i] > 0), "radius", "radius", { line: { width: 1.5, dash: "dash" } })] },
      { height: 170, title: `Offset, µT   ${triple(["x", "y", "z"])}`, traces: tripleLines(["offset x", "offset y", "offset z"], ["off_x", "off_y", "off_z"].map(name => samples[name])) });
  if (angles.some(name => samples[name].some(known)))
    panels.push({ height: 170, title: `${triple(angles)}, °`, axis: { dtick: 90 }, traces: tripleLines(angles, angles.map(name => unwrapped(samples[name]))) });
  return panels;
}

function drawTime() {
  const nothing = samples.t.length + events.length + grades.length === 0 && "No samples.";
  drawPanels("time", `Norms, offset, grade and orientation over time, ${samples.t.length} samples, ${events.length} events.`, timePanels(), overTime(), nothing);
}

// Span and scatter of the buffer against what is asked of them.
function drawGates() {
  const time = overTime(), buffers = Object.keys(KINDS).filter(kind => kind !== "reset"), { span, scatter } = data.limits;
  const nothing = events.length === 0 && !samples.scatter.some(known) && "No buffer was ever full, and no scatter is known.";
  drawPanels("gates-chart", "Smallest span and scatter of the buffer over time, with their limits.", [
    { height: 170, title: `Smallest span, µT   needed ${swatch("limit", "", "– –")}`, axis: logarithmic([span, ...events.map(e => e.span)]),
      traces: [...buffers.map(kind => eventMarkers(kind, e => e.span, { hovertemplate: `${KINDS[kind].label}: span %{y:.1f} µT<extra></extra>` })), ...limitLine(span, "needed span", time.range)] },
    { height: 170, title: `Least scatter, µT ${swatch("raw", "")}   needed ${swatch("limit", "", "– –")}`, axis: logarithmic([scatter, ...samples.scatter]),
      traces: [line(samples.scatter.map(v => (v > 0 ? v : null)), "scatter", "raw"), ...limitLine(scatter, "needed scatter", time.range)] },
  ], time, nothing);
}

function drawDistance() {
  const time = overTime(), raw = samples.t.map((_, i) => (samples.radius[i] > 0 ? Math.abs(samples.cal_norm[i] - samples.radius[i]) : null));
  const nothing = !raw.some(known) && "No offset was ever published.", bounds = data.limits.grades ?? [];
  drawPanels("distance", "Distance of the calibrated norm to the radius over time.", [
    { height: 220, title: `|norm − radius|, µT ${swatch("unknown", "")}  as graded ${swatch("cal", "")}`, axis: logarithmic([...bounds, ...raw]), traces: [
      line(raw, "|norm − radius|", "unknown", { line: { width: 0.8 } }), line(samples.graded, "as graded", "cal", { line: { width: 2 } }),
      ...bounds.flatMap((bound, i) => limitLine(bound, `bound of grade ${i + 1}`, time.range)),
      { type: "scatter", mode: "text", x: bounds.map(() => time.range[1]), y: bounds, text: bounds.map((bound, i) => `grade ${i + 1} below ${bound}`), textposition: "top left", hoverinfo: "skip", textfont: { color: colour("limit") } }] },
  ], time, nothing);
}

function drawRates() {
  const sensors = Object.keys(data.rates), lines = (column, scale, unit) => sensors.map((name, i) => line(data.rates[name][column].map(v => (known(v) && v > 0 ? v * scale : null)), name, TRIPLE[i].style,
    { x: data.rates[name].t, line: { width: 1.6, dash: TRIPLE[i].dash, shape: "hvh" }, hovertemplate: `${name} %{y:.1f} ${unit}<extra></extra>` }));
  drawPanels("rates", "Events per second and longest gaps of each sensor over time.", [
    { height: 130, title: `Events per second   ${triple(sensors)}`, axis: { rangemode: "tozero" }, traces: lines("rate_hz", 1, "per s") },
    { height: 130, title: "Longest gap between two events, ms", axis: { rangemode: "tozero" }, traces: lines("gap_s", 1000, "ms") },
  ], { ...overTime(), shapes: [] }, sensors.length === 0 && "A log holds no events of the sensors.");
}

// ---- the field

const FIELDS = {
  raw: { name: "Raw field", columns: ["raw_x", "raw_y", "raw_z"], drawn: rawKnown, odd: 0.005, origin: [0, 0, 0], nothing: "No raw samples." },
  cal: { name: "Calibrated field", columns: ["cal_x", "cal_y", "cal_z"], drawn: calKnown, odd: 0.025, origin: published?.centre ?? [0, 0, 0],
    nothing: "No offset was ever published, so there is no calibrated field to show." },
};

// The spheres as the field's chart has them: the calibrated field has the published centre as its origin.
function spheres(field, shown) {
  const at = sphere => ({ ...sphere, centre: sphere.centre.map((c, i) => c - field.origin[i]) });
  const list = [];
  if (published && shown.published)
    list.push({ ...at(published), name: "published sphere", style: "cal", dash: "solid" });
  if (best && shown.best && (field === FIELDS.raw || published))
    list.push({ ...at(best), name: "best-fit sphere", style: "best", dash: "dash" });
  return list;
}

// Equal ranges for the three axes around nearly all points and the spheres: a glitch, or the jump to a new offset, must not
// make a dot of the rest.
function cube(field, chosen) {
  const around = spheres(field, { published: true, best: true });
  const ends = field.columns.map((column, axis) => {
    const sorted = chosen.map(i => samples[column][i]).sort((a, b) => a - b);
    const cut = Math.floor(sorted.length * field.odd);
    const low = Math.min(sorted[cut], ...around.map(s => s.centre[axis] - s.radius));
    const high = Math.max(sorted[sorted.length - 1 - cut], ...around.map(s => s.centre[axis] + s.radius));
    return [low, high];
  });
  const half = 1.05 * Math.max(1, ...ends.map(([low, high]) => (high - low) / 2));
  return ends.map(([low, high]) => [(low + high) / 2 - half, (low + high) / 2 + half]);
}

// Grades in their colours, or time from dark to light.
function markerColours(chosen, by) {
  if (by === "grade") {
    const colours = GRADES.map((_, grade) => colour(`grade${grade}`)), unknown = colour("unknown");
    return { color: chosen.map(i => colours[samples.grade[i]] ?? unknown) };
  }
  const times = samples.t.filter(known);
  return {
    color: chosen.map(i => samples.t[i]), colorscale: "Cividis", cmin: times[0], cmax: times.at(-1),
    colorbar: { orientation: "h", thickness: 8, len: 0.8, y: 0, yanchor: "top", outlinewidth: 0, ticksuffix: data.timed ? " s" : "" },
  };
}

function wireframe(sphere) {
  const points = { x: [], y: [], z: [] }, steps = 48;
  const add = (x, y, z) => [x, y, z].forEach((v, i) => points["xyz"[i]].push(v === null ? null : sphere.centre[i] + sphere.radius * v));
  const ring = point => {
    for (let k = 0; k <= steps; ++k)
      add(...point((2 * Math.PI * k) / steps));
    add(null, null, null);
  };
  for (let k = 0; k < 6; ++k)
    ring(a => [Math.cos((Math.PI * k) / 6) * Math.cos(a), Math.sin((Math.PI * k) / 6) * Math.cos(a), Math.sin(a)]);
  for (let k = -2; k <= 2; ++k)
    ring(a => [Math.cos((Math.PI * k) / 6) * Math.cos(a), Math.cos((Math.PI * k) / 6) * Math.sin(a), Math.sin((Math.PI * k) / 6)]);
  return { type: "scatter3d", mode: "lines", name: sphere.name, ...points, hoverinfo: "skip", line: { color: colour(sphere.style), width: 2 }, opacity: 0.55 };
}

const hoverOf = chosen => ({
  customdata: chosen.map(i => [number(samples.t[i], data.timed ? 2 : 0), samples.grade[i] ?? "not known"]),
});

function drawCloud(kind, options) {
  const { axis, layout } = look();
  const field = FIELDS[kind], chosen = indices(field.drawn), column = i => chosen.map(k => samples[field.columns[i]][k]);
  const traces = [
    {
      type: "scatter3d", mode: "markers", name: field.name, x: column(0), y: column(1), z: column(2),
      marker: { size: 2.2, ...markerColours(chosen, options.by) }, ...hoverOf(chosen),
      hovertemplate: `x %{x:.1f}, y %{y:.1f}, z %{z:.1f} µT<br>%{customdata[0]} ${unit}, grade %{customdata[1]}<extra></extra>`,
    },
    ...spheres(field, options).map(wireframe),
  ];
  const ranges = chosen.length ? cube(field, chosen) : [];
  const side = (name, i) => ({ ...axis, title: { text: `${name}, µT` }, range: ranges[i], showspikes: false, nticks: 6 });
  const eye = at(`cloud-${kind}`).clientWidth < 450 ? 2.6 : 1.6; // nearer, and the titles of the axes are cut off
  const scene = { aspectmode: "cube", dragmode: "turntable", camera: { eye: { x: eye, y: eye, z: eye / 2 }, center: { x: 0, y: 0, z: -0.1 } }, xaxis: side("x", 0), yaxis: side("y", 1), zaxis: side("z", 2) };
  plot(`cloud-${kind}`, `${field.name} in three dimensions, ${chosen.length} points.`, traces,
    { ...layout, height: 460, margin: { l: 0, r: 0, t: 0, b: options.by === "t" ? 40 : 0 }, scene }, chosen.length === 0 && field.nothing);
}

// The same buttons serve those who cannot drag; the wheel stays the page's.
function moveClouds(factor, turn) {
  for (const kind of Object.keys(FIELDS)) {
    const camera = at(`cloud-${kind}`)._fullLayout?.scene?._scene?.getCamera();
    if (!camera)
      continue;
    const { x, y, z } = camera.eye, [c, s] = [factor * Math.cos(turn), factor * Math.sin(turn)];
    Plotly.relayout(`cloud-${kind}`, { "scene.camera": { ...camera, eye: { x: c * x - s * y, y: s * x + c * y, z: factor * z } } });
  }
}

function circle(sphere, a, b) {
  const angles = Array.from({ length: 97 }, (_, k) => (2 * Math.PI * k) / 96);
  return {
    type: "scatter", mode: "lines", name: sphere.name, hoverinfo: "skip", line: { color: colour(sphere.style), width: 1.5, dash: sphere.dash },
    x: angles.map(t => sphere.centre[a] + sphere.radius * Math.cos(t)), y: angles.map(t => sphere.centre[b] + sphere.radius * Math.sin(t)),
  };
}

function drawProjection(kind, a, b, options) {
  const { axis } = look();
  const field = FIELDS[kind], all = indices(field.drawn), stride = Math.ceil(all.length / PROJECTED);
  const chosen = all.filter((_, i) => i % stride === 0), column = i => chosen.map(k => samples[field.columns[i]][k]);
  const names = "xyz"[a] + "xyz"[b];
  const { colorbar, ...colours } = markerColours(chosen, options.by);
  const traces = [
    {
      type: "scatter", mode: "markers", name: field.name, x: column(a), y: column(b), marker: { size: 3, opacity: 0.7, ...colours }, ...hoverOf(chosen),
      hovertemplate: `${names[0]} %{x:.1f}, ${names[1]} %{y:.1f} µT<br>%{customdata[0]} ${unit}, grade %{customdata[1]}<extra></extra>`,
    },
    ...spheres(field, options).map(sphere => circle(sphere, a, b)),
  ];
  const ranges = chosen.length ? cube(field, all) : [];
  const width = document.getElementById(`${kind}-${names}`).clientWidth;
  plot(`${kind}-${names}`, `${field.name}, ${names[0]}-${names[1]} plane, ${chosen.length} points.`, traces, {
    height: Math.min(width, 420), margin: { l: 56, r: 8, t: 8, b: 42 }, dragmode: TOUCH ? false : "zoom", hovermode: "closest",
    xaxis: { ...axis, title: { text: `${names[0]}, µT` }, range: ranges[a], constrain: "domain" },
    yaxis: { ...axis, title: { text: `${names[1]}, µT` }, range: ranges[b], scaleanchor: "x", constrain: "domain" },
  }, chosen.length === 0 && field.nothing);
}

function drawField(options) {
  for (const kind of Object.keys(FIELDS)) {
    drawCloud(kind, options);
    at(`${kind}-planes`).hidden = indices(FIELDS[kind].drawn).length === 0; // said once, above
    if (at(`${kind}-planes`).hidden)
      continue;
    for (const [a, b] of [[0, 1], [0, 2], [1, 2]])
      drawProjection(kind, a, b, options);
  }
}

// ---- coverage

// Up to four classes of counts, the last one up to the maximum.
function countClasses(most) {
  const starts = [...new Set([1, Math.ceil(most / 8), Math.ceil(most / 4), Math.ceil(most / 2)])].filter(n => n > 0);
  return starts.map((from, i) => ({ from, to: i + 1 < starts.length ? starts[i + 1] - 1 : most, style: `cover${i + 5 - starts.length}` }));
}

function coverageCells() {
  const { columns, rows } = coverage;
  return coverage.seen.map((seen, i) => {
    const column = i % columns, row = Math.floor(i / columns);
    return { seen, used: coverage.used[i], west: -180 + (360 * column) / columns, east: -180 + (360 * (column + 1)) / columns, low: -1 + (2 * row) / rows, high: -1 + (2 * (row + 1)) / rows };
  });
}

const degrees = sine => number((Math.asin(sine) * 180) / Math.PI, 0);

function coverageTraces() {
  const cells = coverageCells(), narrow = at("coverage").clientWidth < 600;
  const patch = (mine, name, style) => ({
    type: "scatter", mode: "lines", fill: "toself", hoverinfo: "skip", name, fillcolor: colour(style), line: { width: 1, color: colour("page") }, showlegend: mine.length > 0,
    x: mine.flatMap(c => [c.west, c.east, c.east, c.west, c.west, null]), y: mine.flatMap(c => [c.low, c.low, c.high, c.high, c.low, null]),
  });
  const classes = countClasses(Math.max(...cells.map(cell => cell.used))).map(({ from, to, style }) =>
    patch(cells.filter(cell => cell.used >= from && cell.used <= to), from === to ? `${from}` : `${from}–${to}`, style));
  const middles = {
    type: "scatter", mode: "markers", name: "cells", showlegend: false, marker: { opacity: 0, size: 12, color: colour("panel") }, x: cells.map(c => (c.west + c.east) / 2),
    y: cells.map(c => (c.low + c.high) / 2), hovertemplate: "%{text}<extra></extra>",
    text: cells.map(c => `azimuth ${number(c.west, 0)} to ${number(c.east, 0)}°<br>elevation ${degrees(c.low)} to ${degrees(c.high)}°<br>${c.seen} samples drawn, ${c.used} in accepted fits`),
  };
  const names = { type: "scatter", mode: "text", showlegend: false, hoverinfo: "skip", textfont: { color: colour("text") }, x: [0, 172, 90, -90, 0, 0], y: [0, 0, 0, 0, 0.93, -0.93],
    textposition: ["middle center", "middle left"], text: coverage.sides.map(side => `<b>${narrow ? side.name.split(" ")[0] : side.name}</b>`) };
  return [patch(cells.filter(cell => cell.seen > 0 && cell.used === 0), "seen, not used", "seen"), ...classes, middles, names];
}

function drawCoverage() {
  at("coverage-map").hidden = !coverage;
  if (!coverage)
    return;
  const { axis } = look(), elevations = [-90, -60, -30, 0, 30, 60, 90];
  plot("coverage", `Map of the field's directions, ${share(coverage.seen_share)} seen, ${share(coverage.used_share)} used.`, coverageTraces(), {
    height: 400, margin: { l: 64, r: 8, t: 8, b: 84 }, hovermode: "closest", dragmode: false, showlegend: true, plot_bgcolor: colour("panel"),
    legend: { orientation: "h", y: -0.2, yanchor: "top", itemclick: false, itemdoubleclick: false, title: { text: "samples per cell in accepted fits " } },
    xaxis: { ...axis, title: { text: "azimuth from the x axis, °" }, range: [-180, 180], dtick: 45, fixedrange: true, zeroline: false },
    yaxis: { ...axis, title: { text: "elevation, °" }, range: [-1, 1], fixedrange: true, zeroline: false, tickvals: elevations.map(e => Math.sin((e * Math.PI) / 180)), ticktext: elevations.map(e => number(e, 0)) },
  });
}
