// ---- the answers

function answerCard(question, answer, state = "") {
  const card = make("article", { "data-state": state }, make("h2", {}, question), make("p", {}, ...glossed(answer.text)));
  if (answer.more)
    card.append(make("p", { class: "note" }, ...glossed(answer.more)));
  return card;
}

// What was tried on this recording is better than what holds in general.
function whatNow() {
  const [first, second] = data.advice ?? [], { now } = data.answers;
  if (!first)
    return now;
  return data.trust?.verdict === "contradicted" ? { text: now.text, more: first.text } : { text: first.text, more: second?.text ?? now.more };
}

// The first clause is the answer; its figures go into the line below.
function trustAnswer(trust) {
  const answers = { held: "Yes, as far as the recording shows.", contradicted: "No: the recording contradicts it.", unjudged: "That cannot be told from this recording." };
  return { text: answers[trust.verdict], more: trust.text };
}

function showAnswers() {
  const { calibrated, why } = data.answers, { trust } = data;
  document.title = `${data.title} – ${data.headline}`;
  at("source").textContent = data.source === "log" ? "A device's log" : "A recording, replayed";
  at("headline").textContent = data.title;
  at("answers").append(answerCard("Did it calibrate?", calibrated, calibrated.state), answerCard(why.question, why));
  if (trust)
    at("answers").append(answerCard("Can I trust the grade?", trustAnswer(trust), { held: "yes", contradicted: "no" }[trust.verdict] ?? "unknown"));
  at("answers").append(answerCard("What do I do now?", whatNow()));
  if (data.index)
    at("source").prepend(make("a", { href: data.index }, "All recordings"), " · ");
}

const RESERVATIONS = { unvalidated: "; never validated", discarded: "; thrown away by a reset, and still published" };

function showFigures() {
  const figure = (name, value, more = "") => at("figures").append(make("div", {}, make("dt", {}, name), make("dd", {}, value, make("small", {}, ...glossed(more)))));
  const truth = data.true_offset, first = samples.t.find(known), last = samples.t.findLast(known);
  figure("Published offset", published ? `${vector(published.centre)} µT` : "none", published ? `radius ${number(published.radius)} µT${RESERVATIONS[data.calibration.offset_state] ?? ""}` : "");
  figure("Best sphere afterwards", best ? `${vector(best.centre)} µT` : "none", best ? `radius ${number(best.radius)} µT, residual ${number(best.residual)} µT` : "");
  if (truth)
    figure("Published to true", published ? `${number(distance(published.centre, truth))} µT` : "–", `true offset ${vector(truth)} µT`);
  else
    figure("Published to best", published && best ? `${number(distance(published.centre, best.centre))} µT` : "–", "distance between the two centres");
  figure("Norm before", meanAndSpread(data.raw_norm), "raw, mean ± spread");
  figure("Norm after", meanAndSpread(data.calibrated_norm), `calibrated, ${data.calibrated_norm?.count ?? 0} of ${counts.samples} samples had an offset`);
  figure("Samples", number(counts.samples, 0), `${known(first) && data.timed ? `${number(last - first)} s; ` : ""}${counts.full_buffers} full buffers, ${counts.ready_buffers} READY`);
  const notes = [];
  if (best?.reservation)
    notes.push(`The best sphere is no measure of the truth here: ${best.reservation}.`);
  if (samples.t.length < counts.samples)
    notes.push(`The charts show ${samples.t.length} of ${counts.samples} samples, evenly picked; all figures and tables use all.`);
  at("figures-note").textContent = notes.join(" ");
}

// ---- tables beside the charts

// What each gate asks, in plain words; the figure is this run's limit.
function showGates() {
  const { span, scatter } = data.limits, of = (value, text) => (known(value) ? `${number(value)} µT ${text}` : text);
  const gates = [
    ["Movement", of(scatter, "of scatter on every axis, several samples in a row"), "Is the device being turned at all? At rest the field stays the same, and teaches nothing."],
    ["Span", of(span, "of span on every axis, two of them alike"), "Was it turned far enough, and about more than one axis? From a small part of a sphere its centre cannot be told."],
    ["Fit", "results that stay the same", "Does the offset stay the same as samples are added? If not, the fit is refused."],
    ["Agreement", "two accepted buffers", "Only an offset that a second buffer confirms is validated."],
  ];
  at("gates").append(table("What a buffer has to pass, in this order", ["Gate", "Needed", "In plain words"], gates));
  if (data.happened.length === 0)
    return at("fates").append(make("p", { class: "empty" }, "No buffer was ever full."));
  const most = Math.max(...data.happened.map(({ count }) => count));
  at("fates").append(table("How often each thing happened", ["What became of the buffers", "Count", ""],
    data.happened.map(({ what, count }) => [what, String(count), bar(count / most)]), [1]));
}

// A grade tells the truth if the better it is, the nearer the norm is to the radius and the offset to the best one.
function showWorth() {
  const rows = data.worth.map(w => [make("span", { class: "kind" }, key(`grade${w.grade}`), ` ${w.grade} ${GRADES[w.grade]}`), share(w.share),
    w.norm_ut === null ? "–" : `${number(w.norm_ut)} ± ${number(w.norm_sd_ut)}`, number(w.norm_to_radius_ut), number(w.offset_to_best_ut)]);
  at("worth").append(table("Means in µT of all samples with an offset", ["Grade", "Share", "Calibrated norm", "Norm to radius", "Offset to best"], rows, [1, 2, 3, 4]));
  const contradictions = data.trust?.contradictions ?? [];
  if (contradictions.length > 0)
    at("contradictions").append(table("Where the recording contradicts the grade", ["From s", "To s", "By µT", "What"],
      contradictions.map(c => [number(c.from_s), number(c.to_s), number(c.by_ut), c.text]), [0, 1, 2]));
  const mask = Number(config?.find(c => c.name === "hcal.incmask")?.value);
  at("distance-note").textContent = "Distance of the calibrated norm to the radius: small when the offset fits. The grade looks at its mean over 15 samples."
    + (mask & 2 ? " With hcal.incmask as it is, grade 3 stays while an offset is validated, whatever this distance is." : "");
}

function showSides() {
  if (!coverage)
    return at("sides").append(make("p", { class: "empty" }, "No sphere fits these samples well enough to tell directions: turn the device about all axes first."));
  const state = part => (part < 0.1 ? "missing" : part < 0.4 ? "little" : "good");
  at("sides").append(table("Sides of the device that the field has pointed to", ["Side", "Seen", "", "Used in fits", ""],
    coverage.sides.map(s => [s.name, state(s.seen), bar(s.seen), share(s.used), s.seen < 0.4 ? s.how : ""]), [3]));
  const missing = coverage.sides.filter(s => s.seen < 0.1);
  at("sides-note").textContent = missing.length === 0 ? "The field has pointed to all six sides." : `Still missing: ${missing.map(s => s.how).join("; ")}. Turn about the vertical while you do it.`;
}

function showPlausibility() {
  const found = data.plausibility;
  if (!found)
    return;
  const rows = Object.entries(found.sensors ?? {}).map(([name, s]) => [name, number(s.events, 0), number(s.rate_hz), number(s.longest_gap_s, 3), number(s.not_numbers, 0), number(s.median_norm, 2)]);
  at("plausibility").append(table("What came in", ["Sensor", "Events", "Per second", "Longest gap s", "Not numbers", "Median norm"], rows, [1, 2, 3, 4, 5]));
  at("plausibility").append(make("ul", {}, ...(found.findings ?? []).map(f => make("li", { class: f.severity }, make("strong", {}, `${f.severity}: `), f.text, f.line ? ` (line ${f.line})` : ""))));
}

// ---- legends, notes and switches

const gradeKeys = () => GRADES.map((name, grade) => make("span", {}, key(`grade${grade}`), ` ${grade} ${name}`));

function showLegends() {
  at("grade-legend").append(make("span", {}, "Grade:"), ...gradeKeys(), make("span", {}, "Events:"),
    ...Object.entries(KINDS).slice(1).map(([kind, { label, sign }]) => make("span", {}, key(kind, sign), ` ${label}`)),
    ...(data.trust?.contradictions?.length ? [make("span", {}, key("wrong"), " grade contradicted")] : []));
  at("field-legend").append(make("span", {}, "Grade:"), ...gradeKeys(), make("span", {}, key("unknown"), " not known"));
  at("cloud-raw-note").textContent = `Raw field, ${indices(rawKnown).length} points.`;
  at("cloud-cal-note").textContent = `Calibrated field, ${indices(calKnown).length} points with a published offset. Centred on the origin if the offset is right.`;
}

const fieldOptions = () => ({ by: at("colour-by").value, published: at("show-published").checked, best: at("show-best").checked });

function redrawField() {
  at("field-legend").hidden = at("colour-by").value !== "grade";
  drawField(fieldOptions());
}

function drawRun() {
  drawTime();
  drawGates();
  drawDistance();
  redrawField();
  drawCoverage();
  drawRates();
}

function showConfig() {
  if (!config?.length)
    return at("config").append(make("p", { class: "empty" }, "The configuration is not known."));
  const head = ["Key", "Value", "Without configuration", "Unit", "Meaning"];
  const part = (caption, list) => make("div", { class: "wide" }, table(caption, head, list.map(c => [c.name, c.value, c.start, c.unit, c.meaning]), [1, 2]));
  const changed = config.filter(c => c.changed), rest = config.filter(c => !c.changed);
  at("config").append(changed.length === 0 ? make("p", {}, "Nothing was configured: every key has the value that the library starts with.")
    : part(`Configured: ${changed.length}`, changed));
  at("config").querySelectorAll("tbody tr").forEach(row => (row.className = "changed"));
  at("config").append(make("details", {}, make("summary", {}, `${rest.length} as the library starts with`), part("As the library starts with", rest)));
}

const AT_ONCE = 500; // rows; more only when asked for

function eventRow(event) {
  const digits = data.timed ? 3 : 0, around = data.timed ? 3 : 300;
  const when = make("button", { type: "button", class: "plain", title: "Show in the charts" }, number(event.t, digits));
  when.addEventListener("click", () => {
    zoomTime([event.t - around, event.t + around]);
    at("time").scrollIntoView({ behavior: "smooth" });
  });
  const { label, sign } = KINDS[event.kind];
  return [known(event.t) ? when : "–", make("span", { class: "kind" }, key(event.kind, sign), ` ${label}`), event.what, event.figures];
}

function showEvents() {
  if (events.length === 0)
    return at("events").append(make("p", { class: "empty" }, "Nothing happened: no buffer was ever full."));
  const kinds = Object.keys(KINDS).filter(kind => events.some(e => e.kind === kind));
  const wanted = new Set(kinds.length > 1 ? kinds.filter(kind => kind !== "not_ready") : kinds);
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
    return make("label", {}, box, ` ${KINDS[kind].label} (${events.filter(e => e.kind === kind).length})`);
  }));
  fill(AT_ONCE);
  at("events").append(filter, list, more);
}

// ---- all of it

function showRunPage() {
  showAnswers();
  showFigures();
  showGates();
  showWorth();
  showLegends();
  showSides();
  showPlausibility();
  showConfig();
  showEvents();
  for (const id of ["colour-by", "show-published", "show-best"])
    at(id).addEventListener("change", redrawField);
  for (const [id, factor, turn] of [["nearer", 0.8, 0], ["farther", 1.25, 0], ["turn", 1, Math.PI / 12]])
    at(id).addEventListener("click", () => moveClouds(factor, turn));
  for (const kind of Object.keys(FIELDS)) // a sphere would take the wheel for itself
    at(`cloud-${kind}`).addEventListener("wheel", event => event.stopPropagation(), { capture: true, passive: true });
  at("whole").addEventListener("click", () => zoomTime(null));
}

function watch(draw) {
  draw();
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

const PAGES = { run: [showRunPage, drawRun], compare: [showCompare, drawCompare], index: [showIndex, () => {}] };
const [show, draw] = PAGES[data.kind];
document.querySelectorAll("main").forEach(main => (main.hidden = main.id !== data.kind));
show();
showRun(data.run);
watch(draw);
