const at = id => document.getElementById(id);

// An element with attributes and children; texts stay texts.
function make(tag, attributes = {}, ...children) {
  const element = document.createElement(tag);
  for (const [name, value] of Object.entries(attributes))
    element.setAttribute(name, value);
  element.append(...children);
  return element;
}

// rows: arrays of cells, a cell being a text or an element; numeric: columns aligned right.
function table(caption, head, rows, numeric = []) {
  const cell = (tag, more) => (content, i) => make(tag, { ...more, class: numeric.includes(i) ? "number" : "" }, content);
  return make("table", {}, make("caption", {}, caption), make("thead", {}, make("tr", {}, ...head.map(cell("th", { scope: "col" })))),
    make("tbody", {}, ...rows.map(row => make("tr", {}, ...row.map(cell("td", {}))))));
}

const key = (style, sign) => make("span", sign ? { style: `color:var(--${style})`, "aria-hidden": "true" } : { class: "key", style: `background:var(--${style})` }, sign ?? "");

// ---- the verdict

function showVerdict() {
  document.title = `${data.title} – ${data.headline}`;
  at("source").textContent = `${data.title}, ${data.source === "log" ? "a device's log" : "a recording"}`;
  at("headline").textContent = data.headline;
  at("headline").dataset.state = grades.at(-1)?.grade > 0 ? "yes" : "no";
  at("verdict").append(...data.verdict.map(sentence => make("li", {}, sentence)));
  at("version").textContent = `qv6d replay --report, version ${data.version}`;
}

function showFigures() {
  const figure = (name, value, more = "") => at("figures").append(make("div", {}, make("dt", {}, name), make("dd", {}, value, make("small", {}, more))));
  const first = samples.t.find(known), last = samples.t.findLast(known);
  figure("Published offset", published ? `${vector(published.centre)} µT` : "none", published ? `radius ${number(published.radius)} µT` : "");
  figure("Best sphere afterwards", best ? `${vector(best.centre)} µT` : "none", best ? `radius ${number(best.radius)} µT, residual ${number(best.residual)} µT` : "");
  figure("Published to best", published && best ? `${number(distance(published.centre, best.centre))} µT` : "–", "distance between the two centres");
  figure("Norm before", meanAndSpread(data.raw_norm), "raw, mean ± spread");
  figure("Norm after", meanAndSpread(data.calibrated_norm), `calibrated, ${data.calibrated_norm?.count ?? 0} of ${counts.samples} samples had an offset`);
  figure("Samples", number(counts.samples, 0), `${known(first) && data.timed ? `${number(last - first)} s; ` : ""}${counts.full_buffers} full buffers, ${counts.ready_buffers} READY`);
  const notes = [];
  if (best && best.residual > 0.1 * best.radius)
    notes.push("The best sphere fits badly: the field or the offset changed during the recording, so it is no measure of the truth at every moment.");
  if (samples.t.length < counts.samples)
    notes.push(`The charts and the table by grade show ${samples.t.length} of ${counts.samples} samples, evenly picked; the other figures use all.`);
  at("figures-note").textContent = notes.join(" ");
}

function showFates() {
  if (data.happened.length === 0)
    return at("fates").append(make("p", { class: "empty" }, "No buffer was ever full."));
  const most = Math.max(...data.happened.map(({ count }) => count));
  at("fates").append(table("How often each thing happened", ["What", "Count", ""],
    data.happened.map(({ what, count }) => [what, String(count), make("span", { class: "bar", style: `width:${(100 * count) / most}%` })]), [1]));
}

// A grade tells the truth if the better it is, the nearer the norm is to the radius and the offset to the best one.
function showWorth() {
  const rows = GRADES.map((name, grade) => {
    const mine = indices(i => samples.grade[i] === grade), drawn = mine.filter(calKnown);
    const miss = spread(drawn.map(i => (known(samples.cal_norm[i]) && samples.radius[i] > 0 ? Math.abs(samples.cal_norm[i] - samples.radius[i]) : null)));
    const off = spread(drawn.map(i => (best ? distance([samples.off_x[i], samples.off_y[i], samples.off_z[i]], best.centre) : null)));
    return [make("span", { class: "kind" }, key(`grade${grade}`), ` ${grade} ${name}`), mine.length ? `${number((100 * mine.length) / samples.t.length, 0)} %` : "–",
      meanAndSpread(spread(drawn.map(i => samples.cal_norm[i]))).replace(" µT", ""), number(miss?.mean), number(off?.mean)];
  });
  at("worth").append(table("Means in µT while an offset was published", ["Grade", "Share", "Calibrated norm", "Norm to radius", "Offset to best"], rows, [1, 2, 3, 4]));
  at("worth-note").textContent = "A grade that tells the truth has smaller distances the higher it is: of the calibrated norm to the published radius, and of the published offset to the best sphere's centre.";
}

// ---- legends, notes and switches

const gradeKeys = () => GRADES.map((name, grade) => make("span", {}, key(`grade${grade}`), ` ${grade} ${name}`));

function showLegends() {
  at("grade-legend").append(make("span", {}, "Grade:"), ...gradeKeys(), make("span", {}, "Events:"),
    ...Object.entries(KINDS).map(([kind, { label, sign }]) => make("span", {}, key(kind, sign), ` ${label}`)));
  at("field-legend").append(make("span", {}, "Grade:"), ...gradeKeys(), make("span", {}, key("unknown"), " not known"));
  at("cloud-raw-note").textContent = `Raw field, ${indices(rawKnown).length} points. Drag to turn, scroll to come nearer.`;
  at("cloud-cal-note").textContent = `Calibrated field, ${indices(calKnown).length} points with a published offset. Centred on the origin if the offset is right.`;
  at("coverage-share").textContent = coverage ? `${number(100 * coverage.share, 0)} % of the sphere was seen by the samples of accepted fits.` : "";
}

const fieldOptions = () => ({ by: at("colour-by").value, published: at("show-published").checked, best: at("show-best").checked });

function redrawField() {
  at("field-legend").hidden = at("colour-by").value !== "grade";
  drawField(fieldOptions());
}

function draw() {
  drawTime();
  redrawField();
  drawCoverage();
}

// ---- tables

function showConfig() {
  if (!config?.length)
    return at("config").append(make("p", { class: "empty" }, "The configuration is not known."));
  const rows = list => list.map(c => [c.name, c.value, c.default, c.unit, c.meaning]);
  const head = ["Key", "Value", "Default", "Unit", "Meaning"];
  const changed = config.filter(c => c.changed), rest = config.filter(c => !c.changed);
  const part = (caption, list) => make("div", { class: "wide" }, table(caption, head, rows(list), [1, 2]));
  if (changed.length === 0)
    at("config").append(make("p", {}, "Everything is at its default."));
  else {
    at("config").append(part(`${changed.length} differ from the defaults`, changed));
    at("config").querySelectorAll("tbody tr").forEach(row => (row.className = "changed"));
  }
  if (rest.length > 0)
    at("config").append(make("details", {}, make("summary", {}, `${rest.length} at their defaults`), part("At their defaults", rest)));
}

const AT_ONCE = 500; // rows; more only when asked for

function eventRow(event) {
  const digits = data.timed ? 3 : 0, around = data.timed ? 3 : 300;
  const when = make("button", { type: "button", class: "plain", title: "Show in the charts" }, number(event.t, digits));
  when.addEventListener("click", () => {
    zoomTime([event.t - around, event.t + around]);
    at("time").scrollIntoView({ behavior: "smooth" });
  });
  const kind = KINDS[event.kind];
  const name = make("span", { class: "kind" }, ...(kind ? [key(event.kind, kind.sign), " "] : []), kind?.label ?? event.kind.replace("_", " "));
  return [known(event.t) ? when : "–", name, event.what, event.figures];
}

function showEvents() {
  if (events.length === 0)
    return at("events").append(make("p", { class: "empty" }, "Nothing happened: no buffer was ever full."));
  const kinds = [...Object.keys(KINDS), "not_ready"].filter(kind => events.some(e => e.kind === kind));
  const wanted = new Set(kinds.filter(kind => kind !== "not_ready"));
  const list = make("div", { class: "wide", tabindex: "0", role: "region", "aria-label": "Table of events" });
  const more = make("button", { type: "button" });
  const fill = limit => {
    const chosen = events.filter(e => wanted.has(e.kind));
    list.replaceChildren(table(`${chosen.length} of ${events.length} events`, [data.timed ? "Seconds" : "Sample", "Kind", "What", "Figures"], chosen.slice(0, limit).map(eventRow), [0]));
    more.hidden = chosen.length <= limit;
    more.textContent = `Show all ${chosen.length}`;
  };
  more.addEventListener("click", () => fill(Infinity));
  const filter = make("fieldset", {}, make("legend", {}, "Show"), ...kinds.map(kind => {
    const box = make("input", { type: "checkbox", value: kind });
    box.checked = wanted.has(kind);
    box.addEventListener("change", () => {
      wanted[box.checked ? "add" : "delete"](kind);
      fill(AT_ONCE);
    });
    return make("label", {}, box, ` ${KINDS[kind]?.label ?? "not READY"} (${events.filter(e => e.kind === kind).length})`);
  }));
  fill(AT_ONCE);
  at("events").append(filter, list, more);
}

// ---- all of it

function watch() {
  for (const id of ["colour-by", "show-published", "show-best"])
    at(id).addEventListener("change", redrawField);
  at("whole").addEventListener("click", () => zoomTime(null));
  matchMedia("(prefers-color-scheme: dark)").addEventListener("change", draw);
  let width = document.body.clientWidth;
  new ResizeObserver(() => {
    if (document.body.clientWidth === width)
      return; // only higher
    width = document.body.clientWidth;
    requestAnimationFrame(draw);
  }).observe(document.body);
  for (const [event, printing] of [["beforeprint", true], ["afterprint", false]])
    addEventListener(event, () => {
      document.documentElement.classList.toggle("print", printing);
      document.querySelectorAll("details").forEach(details => (details.open = printing));
      draw();
    });
}

showVerdict();
showFigures();
showFates();
showWorth();
showLegends();
showConfig();
showEvents();
draw();
watch();
