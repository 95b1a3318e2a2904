"use strict";
(() => {
  const documents = JSON.parse(document.getElementById("documents").textContent);
  const byId = (id) => document.getElementById(id);
  const texts = JSON.parse(byId("texts").textContent);
  const language = document.documentElement.lang;
  // A text of the catalogue with its arguments filled in.
  const T = (key, ...values) => texts[key].replace(/\{arg(\d)\}/g, (mark, at) => (values[at - 1] === undefined ? mark : values[at - 1]));

  // In the order in which a reader cares when there are no samples to go by.
  const statuses = {
    missing: { mark: "\u2715", word: T("StatusMissing") },
    unproven: { mark: "?", word: T("StatusUnproven") },
    unsupported: { mark: "\u2298", word: T("StatusUnsupported") },
    resolved: { mark: "\u2713", word: T("StatusResolved") },
    "not-a-file": { mark: "\u2013", word: T("StatusNotAFile") },
  };
  // What a viewer can show of a module, most first.
  const levels = {
    lines: { mark: "\u2261", word: T("LevelLines") },
    "incomplete-lines": { mark: "\u2248", word: T("LevelSomeLines") },
    names: { mark: "ƒ", word: T("LevelNames") },
    exports: { mark: "\u21E2", word: T("LevelExports") },
    none: { mark: "\u2205", word: T("LevelNothing") },
  };
  const barOrder = [...Object.keys(levels), "unattributed"];
  const barWord = (level) => (levels[level] ? levels[level].word : T("OutsideModules"));
  const rank = Object.keys(statuses);
  const roles = { binary: T("RoleBinary"), symbols: T("RoleSymbols"), supplementary: T("RoleSupplementary") };

  // Texts of the recording enter the page as text nodes and attributes only, never as markup.
  function make(tag, properties, ...children) {
    const element = document.createElement(tag);
    for (const [key, value] of Object.entries(properties || {})) {
      if (key === "on") element.addEventListener("click", value);
      else if (value !== undefined && value !== null) element.setAttribute(key, value);
    }
    element.append(...children.filter((child) => child !== null && child !== undefined));
    return element;
  }

  const grouped = new Intl.NumberFormat(language);
  const count = (n) => grouped.format(n);
  const decimal = (value) => value.toFixed(1).replace(".", T("DecimalPoint"));
  // Of a key with the ending One or Many.
  const plural = (n, key) => T(key + (n === 1 ? "One" : "Many"), count(n));

  // Never rounds up to all or down to nothing.
  function percent(part, whole) {
    if (!whole || !part) return "0 %";
    if (part === whole) return "100 %";
    const value = (100 * part) / whole;
    if (value < 0.1) return `<${decimal(0.1)} %`;
    return `${decimal(Math.min(value, 99.9))} %`;
  }

  function duration(us) {
    if (us < 1000) return `${us} \u00b5s`;
    return us < 1e6 ? `${decimal(us / 1000)} ms` : `${decimal(us / 1e6)} s`;
  }

  // Names such as "//anon" and "[heap]" are no paths and stay whole.
  function splitPath(path) {
    const at = path.startsWith("//") || path.startsWith("[") ? -1 : path.lastIndexOf("/");
    return at > 0 && at + 1 < path.length ? [path.slice(0, at), path.slice(at + 1)] : ["", path];
  }

  const readable = (word) => word.replace(/-/g, " ").replace("build id", "build-id");
  const camel = (word) => word.replace(/(^|-)(.)/g, (all, hyphen, letter) => letter.toUpperCase());
  const identityWords = (kind) => texts["Identity" + camel(kind)] || readable(kind);
  const stepWords = (step) => texts["Step" + step.replace(/^ss/, "")] || readable(camel(step).replace(/^Ss/, ""));
  const wayTo = (file) => (file.place === "search-step" ? stepWords(file.step) : texts["Place" + camel(file.place)] || readable(file.place));

  function proof(file) {
    if (!file || !file.path) return "";
    if (file.confidence !== "cfValidated") return T("AcceptedByPolicy");
    return file.identity.kind === "none" ? T("Validated") : identityWords(file.identity.kind);
  }

  function state(status, word) {
    const look = statuses[status];
    return make("span", { class: "state", "data-status": status }, `${look.mark} ${word || look.word}`);
  }

  function fileState(file) {
    if (!file.path) return state("missing");
    return file.confidence === "cfValidated" ? state("resolved", T("Proven")) : state("unproven");
  }

  function levelState(module) {
    const look = levels[module.level];
    return make("span", { class: "state", "data-status": module.level }, `${look.mark} ${look.word}`,
      module.level !== "none" && !module.level_proven ? make("small", null, T("UnprovenLevel")) : null);
  }

  function facts(pairs) {
    const list = make("dl", { class: "facts" });
    for (const [term, text, look] of pairs) {
      if (text === null || text === undefined || text === "") continue;
      list.append(make("dt", null, term), make("dd", { class: look }, text));
    }
    return list;
  }

  function identityFacts(identity) {
    const differs = identity.expected !== null && identity.actual !== null && identity.expected !== identity.actual;
    return [
      [T("JudgedBy"), identity.kind === "none" ? null : identityWords(identity.kind)],
      [T("Expected"), identity.expected, "mono"],
      [T("Actual"), identity.actual, differs ? "mono differs" : "mono"],
    ];
  }

  function refusedList(file) {
    if (!file.rejected.length) return null;
    const items = file.rejected.map((candidate) => make("li", null,
      make("div", { class: "path" }, candidate.path),
      make("div", { class: "dim" }, candidate.message || T("RefusedWithoutReason")),
      facts([...identityFacts(candidate),
        [T("Step"), stepWords(candidate.step)]])));
    const properties = { class: "refused" };
    if (!file.path) properties.open = "";
    return make("details", properties,
      make("summary", null, plural(file.rejected.length, "Refused")), make("ul", null, ...items));
  }

  function fileCard(title, file) {
    const status = !file.path ? "missing" : file.confidence === "cfValidated" ? "resolved" : "unproven";
    return make("div", { class: "file", "data-status": status },
      make("h3", null, title, fileState(file)),
      facts([
        [T("File"), file.path, "path"],
        [T("Warning"), file.warning],
        [T("Why"), file.reason],
        ...identityFacts(file.identity),
        [T("Step"), file.path ? wayTo(file) : null],
        [T("Time"), duration(file.elapsed_us)],
      ]),
      refusedList(file));
  }

  function details(module) {
    const cards = Object.entries(roles).filter(([role]) => module[role])
      .map(([role, title]) => fileCard(title, module[role]));
    const split = module.split_dwarf;
    if (split) {
      cards.push(fileCard(T("SplitPackage"), split.package),
        ...split.files.map(({ name, file }) => fileCard(splitPath(name)[1], file)));
    }
    return [
      facts([
        [T("RecordedAs"), module.name, "path"],
        [T("BuildId"), module.build_id || (module.debug_id ? module.debug_id + "\u2026" : T("NoneRecorded")), module.build_id || module.debug_id ? "mono" : "dim"],
        [T("Kind"), texts["Kind" + camel(module.kind)] || readable(module.kind)],
        [T("Why"), module.binary ? null : module.reason],
        [T("RoleSymbols"), module.symbols_reason],
        [T("Sources"), module.sources_reason],
        [T("SplitDwarf"), split && T("FoundOf", count(split.found_units), plural(split.units, "Unit"))],
        [T("Samples"), module.samples === null ? null : T("SamplesAndCalls", count(module.samples), count(module.caller_samples))],
        [T("Process"), module.pid],
        [T("MountNamespace"), module.mount_namespace],
      ]),
      make("div", { class: "files" }, ...cards),
    ];
  }

  const columns = [
    { key: "samples", title: T("Samples"), down: true, value: (entry) => weight(entry.module) },
    { key: "name", title: T("Module"), value: (entry) => splitPath(entry.module.name)[1].toLowerCase() },
    { key: "status", title: T("Status"), value: (entry) => rank.indexOf(entry.module.status) },
    { key: "file", title: T("FileOrReason"), value: (entry) => entry.fileText },
    { key: "proof", title: T("Proof"), value: (entry) => proof(entry.module.binary) },
    { key: "symbols", title: T("Shows"), value: (entry) => Object.keys(levels).indexOf(entry.module.level) },
  ];

  // The event whose shares are shown; null where the recording tells no periods.
  let event = null;
  let eventIndex = 0;
  const weight = (module) => (event ? (module.periods ? module.periods[eventIndex] : 0) : module.samples || 0);

  let entries = [];
  let order = { key: "samples", down: true };
  const pressed = new Set();

  // The rows are laid out as grids, so that those out of sight cost nothing; the roles say to
  // assistive programs that it is a table all the same.
  const cell = (key, properties, ...children) => make("td", { role: "cell", class: `c-${key}`, ...properties }, ...children);

  function samplesCell(module, total) {
    if (module.samples === null) return cell("samples", null, "\u2013");
    const width = total ? Math.max(weight(module) ? 2 : 0, (100 * weight(module)) / total) : 0;
    const fill = make("i", null);
    fill.style.width = `${width}%`;
    return cell("samples", { title: plural(module.samples, "Sample") },
      percent(weight(module), total), make("span", { class: "share", "data-status": module.level }, fill));
  }

  function fileCell(module) {
    const file = module.binary;
    if (!file || !file.path) {
      return cell("file", { "aria-colspan": 2 }, make("span", { class: "why", title: module.reason }, module.reason || ""));
    }
    if (file.path === module.name) return cell("file", null, make("span", { class: "dim" }, T("AtRecordedPath")));
    const [directory, name] = splitPath(file.path);
    return cell("file", null, make("span", { class: "path" }, name),
      directory ? make("small", { class: "path" }, directory) : null);
  }

  function proofCell(module) {
    const file = module.binary;
    if (!file || !file.path) return null;
    return cell("proof", null, proof(file), make("small", null, wayTo(file)));
  }

  function moduleRow(entry, total) {
    const { module } = entry;
    const [directory, name] = splitPath(module.name);
    entry.button = make("button", { type: "button", class: "name path", "aria-expanded": "false" }, name || T("NoName"));
    return make("tr", { role: "row", class: "module" },
      samplesCell(module, total),
      cell("name", null, entry.button, directory ? make("small", { class: "path" }, directory) : null),
      cell("status", null, state(module.status)),
      fileCell(module),
      proofCell(module),
      cell("symbols", { title: module.symbols_reason }, levelState(module)));
  }

  function toggle(entry, open) {
    if (entry.open === open) return;
    while (!rowOf(entry).isConnected && drawn < matching.length) drawMore();
    entry.open = open;
    entry.button.setAttribute("aria-expanded", String(open));
    entry.row.classList.toggle("open", open);
    if (open && !entry.detail) {
      entry.detail = make("tr", { role: "row", class: "detail" }, make("td", { role: "cell", "aria-colspan": columns.length }, ...details(entry.module)));
    }
    if (open) entry.row.after(entry.detail);
    else entry.detail.remove();
  }

  // Rows are made when they come near the window, as there may be very many.
  const batch = 100;
  let matching = [];
  let drawn = 0;
  let sampleTotal = 0;

  function rowOf(entry) {
    if (!entry.row) {
      entry.row = moduleRow(entry, sampleTotal);
      entry.row.addEventListener("click", () => { if (getSelection().isCollapsed) toggle(entry, !entry.open); });
    }
    return entry.row;
  }

  function drawMore(amount = batch) {
    const added = matching.slice(drawn, drawn + amount);
    drawn += added.length;
    byId("modules").tBodies[0].append(...added.flatMap((entry) => (entry.open ? [rowOf(entry), entry.detail] : [rowOf(entry)])));
  }

  const nearEnd = new IntersectionObserver((changes) => {
    if (!changes.some((each) => each.isIntersecting) || drawn === matching.length) return;
    drawMore();
    nearEnd.unobserve(byId("more"));
    nearEnd.observe(byId("more"));
  }, { rootMargin: "2000px" });

  function sortEntries() {
    const column = columns.find((one) => one.key === order.key);
    const keyed = entries.map((entry) => [column.value(entry), entry]);
    const sign = order.down ? -1 : 1;
    keyed.sort(([a, first], [b, second]) =>
      (a < b ? -sign : a > b ? sign : 0) || weight(second.module) - weight(first.module) || first.index - second.index);
    entries = keyed.map(([, entry]) => entry);
    applyFilter();
    for (const header of byId("modules").tHead.rows[0].cells) {
      if (header.dataset.key === order.key) header.setAttribute("aria-sort", order.down ? "descending" : "ascending");
      else header.removeAttribute("aria-sort");
    }
    byId("order").value = order.key;
  }

  function applyFilter() {
    const words = byId("filter").value.toLowerCase().split(/\s+/).filter(Boolean);
    matching = entries.filter((entry) => (!pressed.size || pressed.has(entry.module.level) || pressed.has(entry.module.status)) &&
      words.every((word) => entry.text.includes(word)));
    const shown = matching.length;
    drawn = 0;
    byId("modules").tBodies[0].replaceChildren();
    drawMore();
    byId("shown").textContent = shown === entries.length ? count(shown) : T("CountOf", count(shown), count(entries.length));
    byId("none").hidden = shown > 0 || !entries.length;
    byId("modules").hidden = !shown;
    for (const chip of byId("chips").querySelectorAll("button")) {
      chip.setAttribute("aria-pressed", String(pressed.has(chip.dataset.status)));
    }
  }

  function showOnly(status) {
    pressed.clear();
    if (status) pressed.add(status);
    byId("filter").value = "";
    applyFilter();
  }

  // A part of the bar for each module of the level that can be seen in it, and one for the others.
  function barParts(modules, level, amount, whole, bySamples) {
    const large = !bySamples ? [] : modules.filter((module) => module.level === level && weight(module) > whole / 100)
      .sort((a, b) => weight(b) - weight(a));
    const rest = amount - large.reduce((all, module) => all + weight(module), 0);
    const parts = large.map((module) => [`${splitPath(module.name)[1]}: ${barWord(level)}`, weight(module)]);
    if (rest > 0) parts.push([barWord(level), rest]);
    return parts.map(([title, share]) => {
      const part = make("i", { "data-status": level, title: `${title}, ${percent(share, whole)}` });
      part.style.flex = `${share / whole} 0 0`;
      return part;
    });
  }

  // Modules without a file of their own can never be found, so they do not count against the share
  // when there are no samples to count by.
  function showShare(report) {
    const { summary } = report;
    const bySamples = summary.samples !== null && summary.samples > 0;
    const counted = bySamples ? report.modules : report.modules.filter((module) => module.status !== "not-a-file");
    const sum = (fits) => counted.filter(fits).reduce((all, module) => all + (bySamples ? weight(module) : 1), 0);
    const amounts = new Map(Object.keys(levels).map((level) => [level, sum((module) => module.level === level)]));
    amounts.set("unattributed", !bySamples ? 0 : event ? event.unattributed_period : summary.unattributed_samples);
    const amount = (level) => amounts.get(level);
    const present = barOrder.filter((level) => amount(level) > 0);
    const whole = present.reduce((all, level) => all + amount(level), 0);
    const share = (level) => percent(amount(level), whole);
    // The same sentence as the summary of the table.
    const proven = percent(sum((module) => module.status === "resolved"), whole);
    const said = (n) => (bySamples ? percent(n, whole) : count(n));
    const less = [["incomplete-lines", "ShownInPart"], ["names", "ShownByNames"], ["exports", "ShownByExports"]]
      .filter(([level]) => amount(level)).map(([level, key]) => `, ${T(key, said(amount(level)))}`).join("");
    const unproven = sum((module) => module.level !== "none" && !module.level_proven);
    byId("share").textContent = whole ? said(amount("lines")) : "\u2013";
    byId("share-words").textContent = !whole ? T("NoModules")
      : (bySamples ? T("VerdictOfSamples", proven, said(amount("lines"))) : T("VerdictOfModules", said(amount("lines")), count(whole)))
        + less + (unproven ? `; ${T(bySamples ? "SamplesUnproven" : "ModulesUnproven", said(unproven))}` : "");
    byId("bar").replaceChildren(...present.flatMap((level) => barParts(counted, level, amount(level), whole, bySamples)));
    byId("bar").hidden = !whole;
    byId("bar").setAttribute("aria-label", present.map((level) => `${barWord(level)} ${share(level)}`).join(", "));

    const label = (level, look, modules) => [
      make("b", { "aria-hidden": "true" }, look.mark), make("span", null, look.word),
      make("small", null, [modules, bySamples ? share(level) : null].filter(Boolean).join(" \u00b7 ")),
    ];
    const chips = Object.keys(levels).filter((level) => summary.levels[level].modules).map((level) =>
      make("button", {
        type: "button", class: "chip", "data-status": level, "aria-pressed": "false",
        on: () => { if (!pressed.delete(level)) pressed.add(level); applyFilter(); },
      }, ...label(level, levels[level], plural(summary.levels[level].modules, "Module"))));
    if (amount("unattributed")) {
      chips.push(make("span", { class: "chip", "data-status": "unattributed" },
        ...label("unattributed", { mark: "\u2591", word: barWord("unattributed") }, plural(summary.unattributed_samples, "Sample"))));
    }
    byId("chips").replaceChildren(...chips);
    return bySamples ? whole : 0;
  }

  function showGaps(total) {
    const gaps = entries.filter((entry) => entry.module.status === "missing")
      .sort((a, b) => weight(b.module) - weight(a.module) || a.index - b.index);
    const first = gaps.length > 6 ? 5 : gaps.length;
    const lost = gaps.reduce((all, entry) => all + weight(entry.module), 0);
    byId("gaps-title").textContent = gaps.length
      ? T("WhatIsMissing", plural(gaps.length, "Module")) + (total ? T("OfTheSamples", percent(lost, total)) : "")
      : T("NoFileMissing");
    byId("gaps").querySelector("ol").replaceChildren(...gaps.slice(0, first).map((entry) => make("li", null,
      make("span", null, total ? percent(weight(entry.module), total) : statuses.missing.mark),
      make("button", {
        type: "button", class: "link path",
        on: () => { showOnly(null); toggle(entry, true); entry.button.focus(); entry.row.scrollIntoView({ block: "center" }); },
      }, entry.module.name),
      make("span", { class: "why" }, entry.module.reason))));
    byId("all-gaps").hidden = gaps.length === first;
    byId("all-gaps").textContent = T("ShowAll", count(gaps.length));
    byId("gaps").hidden = byId("list").hidden = !entries.length;
  }

  function showSources(report) {
    byId("sources").hidden = !report.sources.length;
    const directories = new Map();
    for (const source of report.sources) {
      const [directory] = splitPath(source.name);
      if (!directories.has(directory)) directories.set(directory, []);
      directories.get(directory).push(source);
    }
    const counts = (list) => {
      const of = (...statuses) => count(list.filter((source) => statuses.includes(source.status)).length);
      return T("SourceCounts", of("proven", "unproven"), of("proven"), of("refused"), of("missing"));
    };
    byId("sources").querySelector("p").textContent = counts(report.sources);
    const looks = { proven: "resolved", unproven: "unproven", refused: "missing", missing: "not-a-file" };
    const sourceWords = { proven: T("Proven"), unproven: T("StatusUnproven"), refused: T("SourceRefused"), missing: T("StatusMissing") };
    const sourceItem = ({ name, module, status, file }) => make("li", { title: module },
      make("span", { class: "state", "data-status": looks[status] }, sourceWords[status]),
      make("span", { class: "path" }, splitPath(name)[1]),
      make("div", { class: "path dim" }, file.path === name ? null : file.path || file.reason,
        file.warning ? make("p", null, file.warning) : null, refusedList(file)));
    const sorted = [...directories].sort(([a], [b]) => (a < b ? -1 : 1));
    byId("sources").querySelector(".directories").replaceChildren(...sorted.map(([directory, list]) => {
      const box = make("details", null, make("summary", null, make("span", { class: "path" }, directory || T("NoDirectory")),
        make("span", { class: "dim" }, counts(list))));
      box.addEventListener("toggle", () => box.append(make("ul", null, ...list.map(sourceItem))), { once: true });
      return box;
    }));
  }

  function showEvents(report) {
    byId("events").hidden = report.events.length < 2;
    byId("events").replaceChildren(...report.events.map((each, index) => make("button", {
      type: "button", class: "quiet", "aria-pressed": String(index === eventIndex), on: () => show(report, index),
    }, each.name || T("EventNumber", index + 1))));
  }

  function show(report, shown = 0) {
    eventIndex = shown;
    event = report.events[shown] || null;
    showEvents(report);
    document.title = `${report.input} \u2013 lokata resolve`;
    byId("input").textContent = report.input === "-" ? T("StandardInput") : report.input;
    byId("facts").textContent = [
      report.format, plural(report.modules.length, "Module"),
      report.summary.samples === null ? T("NoSamples") : plural(report.summary.samples, "Sample"),
      report.host_name, report.architecture, report.kernel_release && T("Kernel", report.kernel_release),
      T("LookedForIn", duration(report.elapsed_us)),
    ].filter(Boolean).join(" \u00b7 ");

    byId("errors").hidden = !report.errors.length;
    byId("errors").querySelector("ul").replaceChildren(...report.errors.map((error) =>
      make("li", null, error.offset ? make("span", { class: "mono" }, `${T("AtByte", count(error.offset))} `) : null, error.message)));

    pressed.clear();
    const total = showShare(report);
    sampleTotal = total;
    entries = report.modules.map((module, index) => {
      const entry = { module, index, open: false, detail: null };
      const paths = Object.keys(roles).map((role) => module[role] && module[role].path);
      entry.fileText = ((module.binary && module.binary.path) || module.reason || "").toLowerCase();
      entry.text = [module.status, module.level, module.name, module.build_id, module.kind, module.reason, ...paths].filter(Boolean).join("\n").toLowerCase();
      return entry;
    });
    byId("app").classList.toggle("uncounted", !total);
    order = total ? { key: "samples", down: true } : { key: "status", down: false };
    showGaps(total);
    sortEntries();

    byId("learned").hidden = !report.learned_paths.length;
    byId("learned").querySelector("ul").replaceChildren(...report.learned_paths.map((path) =>
      make("li", { class: "mono" }, `${path.from || "/"} \u2192 ${path.to || "/"}`)));
    showSources(report);
  }

  function showInputs() {
    byId("inputs").hidden = documents.length < 2;
    const buttons = documents.map((report) => make("button", {
      type: "button", class: "quiet path",
      on: (event) => {
        for (const button of buttons) button.removeAttribute("aria-current");
        event.currentTarget.setAttribute("aria-current", "page");
        show(report);
      },
    }, report.input));
    byId("inputs").replaceChildren(...buttons);
    if (buttons.length) buttons[0].setAttribute("aria-current", "page");
  }

  function setUpTheme() {
    const themes = ["", "light", "dark"];
    let theme = "";
    try { theme = localStorage.getItem("lokata-theme") || ""; } catch { /* A page from a file may have no storage. */ }
    const apply = () => {
      if (theme) document.documentElement.dataset.theme = theme;
      else delete document.documentElement.dataset.theme;
      byId("theme").textContent = T("Theme" + camel(theme || "auto"));
    };
    byId("theme").addEventListener("click", () => {
      theme = themes[(themes.indexOf(theme) + 1) % themes.length];
      try { localStorage.setItem("lokata-theme", theme); } catch { /* As above. */ }
      apply();
    });
    apply();
  }

  function setUpTable() {
    byId("modules").tHead.rows[0].append(...columns.map((column) => make("th", { scope: "col", role: "columnheader", class: `c-${column.key}`, "data-key": column.key },
      make("button", {
        type: "button",
        on: () => {
          order = order.key === column.key ? { key: order.key, down: !order.down } : { key: column.key, down: !!column.down };
          sortEntries();
        },
      }, column.title))));
    byId("order").append(...columns.map((column) => make("option", { value: column.key }, T("SortBy", column.title.split(",")[0]))));
    byId("order").addEventListener("change", (event) => {
      const column = columns.find((one) => one.key === event.target.value);
      order = { key: column.key, down: !!column.down };
      sortEntries();
    });
    byId("filter").addEventListener("input", applyFilter);
    nearEnd.observe(byId("more"));
    addEventListener("beforeprint", () => drawMore(matching.length));
    byId("clear").addEventListener("click", () => showOnly(null));
    byId("all-gaps").addEventListener("click", () => { showOnly("missing"); byId("modules").scrollIntoView(); });
    document.addEventListener("keydown", (event) => {
      const typing = /^(INPUT|SELECT)$/.test(event.target.tagName);
      if (event.key === "/" && !typing) { event.preventDefault(); byId("filter").focus(); }
      if (event.key === "Escape" && typing) showOnly(null);
    });
  }

  byId("app").hidden = false;
  setUpTheme();
  setUpTable();
  showInputs();
  if (documents.length) show(documents[0]);
})();
