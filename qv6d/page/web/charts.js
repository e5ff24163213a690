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

function gradePath(grade, low, high) {
  return grades.filter(g => g.grade === grade).map(g => `M${g.from},${low}L${g.to},${low}L${g.to},${high}L${g.from},${high}Z`).join("");
}

function bands() {
  return GRADES.flatMap((_, grade) => {
    const common = { type: "path", xref: "x", layer: "below", line: { width: 0 }, fillcolor: colour(`grade${grade}`) };
    return [
      { ...common, yref: "paper", path: gradePath(grade, 0, 1), opacity: 0.09 },
      { ...common, yref: "y2", path: gradePath(grade, -0.5, 3.5), opacity: 0.55 },
    ];
  }).filter(shape => shape.path);
}

function eventLines() {
  const lines = { accepted: { width: 0.5 }, validated: { width: 1, dash: "dash" }, reset: { width: 2.5 } };
  return Object.entries(lines).map(([kind, line]) => ({
    type: "path", xref: "x", yref: "paper", layer: "below", opacity: 0.7, line: { ...line, color: colour(kind) },
    path: events.filter(e => e.kind === kind && known(e.t)).map(e => `M${e.t},0L${e.t},1`).join(""),
  })).filter(shape => shape.path);
}

// Angles jump where they wrap: no line is drawn across.
function unwrapped(values) {
  return values.map((v, i) => (i > 0 && Math.abs(v - values[i - 1]) > 180 ? null : v));
}

function timeTraces() {
  const line = (y, name, axis, style, more = {}) => ({
    type: "scatter", mode: "lines", x: samples.t, y, name, yaxis: axis, xaxis: "x", connectgaps: false,
    line: { width: 1.2, color: colour(style) }, hovertemplate: `${name} %{y:.1f}<extra></extra>`, ...more,
  });
  const sometimes = (column, wanted) => samples[column].map((v, i) => (wanted(i) ? v : null));
  const calibrated = sometimes("cal_norm", hasOffset);
  const radius = sometimes("radius", i => samples.radius[i] > 0);
  const few = samples.t.length < 50 ? { mode: "lines+markers" } : {}; // a single sample has no line
  return [
    ...Object.entries(KINDS).map(([kind, { label, symbol }]) => {
      const mine = events.filter(e => e.kind === kind && known(e.t));
      return {
        type: "scatter", mode: "markers", name: label, x: mine.map(e => e.t), y: mine.map(() => label), yaxis: "y", xaxis: "x",
        marker: { symbol, size: 9, color: colour(kind), line: { width: 1, color: colour(kind) } },
        hovertext: mine.map(e => `${wrapped(e.what)}${e.figures ? `<br>${wrapped(e.figures)}` : ""}`), hovertemplate: "%{hovertext}<extra></extra>",
      };
    }),
    line(grades.flatMap(g => [g.grade, g.grade]), "grade", "y2", "text", { x: grades.flatMap(g => [g.from, g.to]), hoverinfo: "skip", hovertemplate: "" }),
    line(samples.grade, "sample's grade", "y2", "text", { line: { width: 0 }, hovertemplate: "grade %{y}<extra></extra>" }), // for the hover only
    line(samples.raw_norm, "raw norm", "y3", "raw", few),
    line(calibrated, "calibrated norm", "y4", "cal", few),
    line(radius, "radius", "y4", "radius", { ...few, line: { width: 1.5, color: colour("radius"), dash: "dash" } }),
    ...["x", "y", "z"].map(a => line(samples[`off_${a}`], `offset ${a}`, "y5", a, { ...few, line: { width: 1.8, color: colour(a) } })),
    ...["azimuth", "pitch", "roll"].map((name, i) => line(unwrapped(samples[name]), name, "y6", "xyz"[i], few)),
  ];
}

const swatch = (style, text, sign = "—") => `<span style="color:${colour(style)}"><b>${sign}</b></span> ${text}`;

// Top to bottom, with pixels of height; what a title does not fit beside goes above.
function timePanels() {
  const radius = published?.radius ?? best?.radius;
  return [
    { height: 130, title: "Events", axis: { type: "category", categoryorder: "array", range: [-0.6, 5.6], dtick: 1, fixedrange: true,
      categoryarray: Object.values(KINDS).map(kind => kind.label).reverse() } },
    { height: 70, title: "Grade", axis: { range: [-0.5, 3.5], dtick: 1, fixedrange: true } },
    { height: 120, title: `Raw norm, µT ${swatch("raw", "")}` },
    { height: 190, title: `Calibrated norm, µT ${swatch("cal", "")}   radius ${swatch("radius", "", "╌")}`,
      axis: known(radius) ? { range: [0, 2 * radius] } : {} },
    { height: 170, title: `Offset, µT   ${["x", "y", "z"].map(a => swatch(a, a)).join("   ")}` },
    { height: 170, title: `${["azimuth", "pitch", "roll"].map((name, i) => swatch("xyz"[i], name)).join("   ")}, °` },
  ];
}

// From the first thing drawn to the last, with room for the markers at the ends.
function timeRange() {
  const times = [...samples.t, ...events.map(e => e.t), ...grades.flatMap(g => [g.from, g.to])].filter(known);
  const first = times.reduce((a, b) => Math.min(a, b), Infinity), last = times.reduce((a, b) => Math.max(a, b), -Infinity);
  const room = Math.max(0.01 * (last - first), data.timed ? 0.1 : 1);
  return times.length ? [first - room, last + room] : [0, 1];
}

function timeLayout() {
  const { axis } = look();
  const panels = timePanels(), gap = 34, margin = { l: 74, r: 12, t: 28, b: 44 };
  const inner = panels.reduce((sum, panel) => sum + panel.height, (panels.length - 1) * gap);
  const layout = {
    height: inner + margin.t + margin.b, margin, shapes: [...bands(), ...eventLines()], annotations: [],
    hovermode: "x unified", hoversubplots: "axis", dragmode: TOUCH ? false : "zoom",
    xaxis: { ...axis, anchor: "y6", title: { text: data.timed ? "seconds" : "sample" }, range: timeRange(), zeroline: false, hoverformat: data.timed ? ".2f" : "d",
      unifiedhovertitle: { text: data.timed ? "<b>%{x} s</b>" : "<b>sample %{x}</b>" } },
  };
  let top = inner;
  panels.forEach((panel, i) => {
    layout[`yaxis${i ? i + 1 : ""}`] = { ...axis, domain: [(top - panel.height) / inner, top / inner], zeroline: false, nticks: 6, ...panel.axis };
    layout.annotations.push({ text: panel.title, xref: "paper", yref: "paper", x: 0, y: top / inner, yshift: 2, xanchor: "left", yanchor: "bottom",
      align: "left", showarrow: false });
    top -= panel.height + gap;
  });
  return layout;
}

function drawTime() {
  const nothing = samples.t.length + events.length + grades.length === 0 && "No samples.";
  plot("time", `Norms, offset, grade and orientation over time, ${samples.t.length} samples, ${events.length} events.`, timeTraces(), timeLayout(), nothing);
}

function zoomTime(range) {
  if (document.getElementById("time").layout)
    Plotly.relayout("time", { "xaxis.range": range ?? timeRange() });
}

// ---- the field

const FIELDS = {
  raw: { name: "Raw field", columns: ["raw_x", "raw_y", "raw_z"], drawn: rawKnown, origin: [0, 0, 0], nothing: "No raw samples." },
  cal: { name: "Calibrated field", columns: ["cal_x", "cal_y", "cal_z"], drawn: calKnown, origin: published?.centre ?? [0, 0, 0],
    nothing: "No sample had a published offset, so there is no calibrated field to show." },
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

// Equal ranges for the three axes around nearly all points and the spheres: one glitch must not make a dot of the rest.
function cube(field, chosen) {
  const around = spheres(field, { published: true, best: true });
  const ends = field.columns.map((column, axis) => {
    const sorted = chosen.map(i => samples[column][i]).sort((a, b) => a - b);
    const cut = Math.floor(sorted.length * 0.005);
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
  const eye = document.getElementById(`cloud-${kind}`).clientWidth < 450 ? 1.5 : 1.25;
  const scene = { aspectmode: "cube", dragmode: "turntable", camera: { eye: { x: eye, y: eye, z: eye / 2 } }, xaxis: side("x", 0), yaxis: side("y", 1), zaxis: side("z", 2) };
  plot(`cloud-${kind}`, `${field.name} in three dimensions, ${chosen.length} points.`, traces,
    { ...layout, height: 460, margin: { l: 0, r: 0, t: 0, b: options.by === "t" ? 40 : 0 }, scene }, chosen.length === 0 && field.nothing);
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
  return coverage.counts.map((count, i) => {
    const column = i % columns, row = Math.floor(i / columns);
    return { count, west: -180 + (360 * column) / columns, east: -180 + (360 * (column + 1)) / columns, low: -1 + (2 * row) / rows, high: -1 + (2 * (row + 1)) / rows };
  });
}

const degrees = sine => number((Math.asin(sine) * 180) / Math.PI, 0);

function coverageTraces() {
  const cells = coverageCells();
  const classes = countClasses(Math.max(...cells.map(cell => cell.count))).map(({ from, to, style }) => {
    const mine = cells.filter(cell => cell.count >= from && cell.count <= to);
    return {
      type: "scatter", mode: "lines", fill: "toself", hoverinfo: "skip", name: from === to ? `${from}` : `${from}–${to}`, fillcolor: colour(style),
      line: { width: 1, color: colour("page") }, showlegend: mine.length > 0,
      x: mine.flatMap(c => [c.west, c.east, c.east, c.west, c.west, null]), y: mine.flatMap(c => [c.low, c.low, c.high, c.high, c.low, null]),
    };
  });
  const middles = {
    type: "scatter", mode: "markers", name: "cells", showlegend: false, marker: { opacity: 0, size: 12, color: colour("panel") }, x: cells.map(c => (c.west + c.east) / 2),
    y: cells.map(c => (c.low + c.high) / 2), hovertemplate: "%{text}<extra></extra>",
    text: cells.map(c => `azimuth ${number(c.west, 0)} to ${number(c.east, 0)}°<br>elevation ${degrees(c.low)} to ${degrees(c.high)}°<br>${c.count} accepted samples`),
  };
  return [...classes, middles];
}

function drawCoverage() {
  const nothing = !coverage && "No sample went into an accepted fit.";
  const { axis } = look(), elevations = [-90, -60, -30, 0, 30, 60, 90];
  plot("coverage", `Map of the directions that accepted samples came from${nothing ? "" : `, ${number(100 * coverage.share, 0)} % covered`}.`, nothing ? [] : coverageTraces(), {
    height: 400, margin: { l: 64, r: 8, t: 8, b: 84 }, hovermode: "closest", dragmode: false, showlegend: true, plot_bgcolor: colour("panel"),
    legend: { orientation: "h", y: -0.2, yanchor: "top", itemclick: false, itemdoubleclick: false, title: { text: "samples per cell " } },
    xaxis: { ...axis, title: { text: "azimuth, °" }, range: [-180, 180], dtick: 45, fixedrange: true, zeroline: false },
    yaxis: { ...axis, title: { text: "elevation, °" }, range: [-1, 1], fixedrange: true, zeroline: false, tickvals: elevations.map(e => Math.sin((e * Math.PI) / 180)), ticktext: elevations.map(e => number(e, 0)) },
  }, nothing);
}
