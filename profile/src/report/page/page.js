"use strict";
(() => {
  const documents = JSON.parse(document.getElementById("documents").textContent);
  const byId = (id) => document.getElementById(id);

  // In the order in which a reader cares when there are no samples to go by.
  const statuses = {
    missing: { mark: "\u2715", word: "Missing" },
    unproven: { mark: "?", word: "Unproven" },
    unsupported: { mark: "\u2298", word: "Unsupported" },
    resolved: { mark: "\u2713", word: "Resolved" },
    "not-a-file": { mark: "\u2013", word: "Not a file" },
  };
  // What a viewer can show of a module, most first.
  const levels = {
    lines: { mark: "\u2261", word: "Lines" },
    "incomplete-lines": { mark: "\u2248", word: "Some lines" },
    names: { mark: "ƒ", word: "Names" },
    exports: { mark: "\u21E2", word: "Exports" },
    none: { mark: "\u2205", word: "Nothing" },
  };
  const barOrder = [...Object.keys(levels), "unattributed"];
  const rank = Object.keys(statuses);
  const roles = { binary: "Binary", symbols: "Symbols", supplementary: "Supplementary symbols" };

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

  const grouped = new Intl.NumberFormat("en");
  const count = (n) => grouped.format(n);
  const plural = (n, one, many) => `${count(n)} ${n === 1 ? one : many || one + "s"}`;

  // Never rounds up to all or down to nothing.
  function percent(part, whole) {
    if (!whole || !part) return "0 %";
    if (part === whole) return "100 %";
    const value = (100 * part) / whole;
    if (value < 0.1) return "<0.1 %";
    return `${Math.min(value, 99.9).toFixed(1)} %`;
  }

  function duration(us) {
    if (us < 1000) return `${us} \u00b5s`;
    return us < 1e6 ? `${(us / 1000).toFixed(1)} ms` : `${(us / 1e6).toFixed(1)} s`;
  }

  // Names such as "//anon" and "[heap]" are no paths and stay whole.
  function splitPath(path) {
    const at = path.startsWith("//") || path.startsWith("[") ? -1 : path.lastIndexOf("/");
    return at > 0 && at + 1 < path.length ? [path.slice(0, at), path.slice(at + 1)] : ["", path];
  }

  const readable = (word) => word.replace(/-/g, " ").replace("build id", "build-id");
  const stepWords = (step) =>
    step.replace(/^ss/, "").replace(/([a-z])([A-Z])/g, "$1 $2").toLowerCase();
  const wayTo = (file) => (file.place === "search-step" ? stepWords(file.step) : readable(file.place));

  function proof(file) {
    if (!file || !file.path) return "";
    if (file.confidence !== "cfValidated") return "accepted by policy";
    return file.identity.kind === "none" ? "validated" : readable(file.identity.kind);
  }

  function state(status, word) {
    const look = statuses[status];
    return make("span", { class: "state", "data-status": status }, `${look.mark} ${word || look.word}`);
  }

  function fileState(file) {
    if (!file.path) return state("missing");
    return file.confidence === "cfValidated" ? state("resolved", "Proven") : state("unproven");
  }

  function levelState(module) {
    const look = levels[module.level];
    return make("span", { class: "state", "data-status": module.level }, `${look.mark} ${look.word}`,
      module.level !== "none" && !module.level_proven ? make("small", null, "unproven") : null);
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
      ["Judged by", identity.kind === "none" ? null : readable(identity.kind)],
      ["Expected", identity.expected, "mono"],
      ["Actual", identity.actual, differs ? "mono differs" : "mono"],
    ];
  }

  function refusedList(file) {
    if (!file.rejected.length) return null;
    const items = file.rejected.map((candidate) => make("li", null,
      make("div", { class: "path" }, candidate.path),
      make("div", { class: "dim" }, candidate.message || "Refused without a word."),
      facts([...identityFacts(candidate),
        ["Step", `${stepWords(candidate.step)} (${candidate.step}), ${candidate.severity}`]])));
    const properties = { class: "refused" };
    if (!file.path) properties.open = "";
    return make("details", properties,
      make("summary", null, plural(file.rejected.length, "refused candidate")), make("ul", null, ...items));
  }

  function fileCard(title, file) {
    const status = !file.path ? "missing" : file.confidence === "cfValidated" ? "resolved" : "unproven";
    return make("div", { class: "file", "data-status": status },
      make("h3", null, title, fileState(file)),
      facts([
        ["File", file.path, "path"],
        ["Why", file.reason],
        ...identityFacts(file.identity),
        ["Way", file.path ? `${wayTo(file)} (${file.step}, ${file.confidence})` : null],
        ["Time", duration(file.elapsed_us)],
      ]),
      refusedList(file));
  }

  function details(module) {
    const cards = Object.entries(roles).filter(([role]) => module[role])
      .map(([role, title]) => fileCard(title, module[role]));
    const split = module.split_dwarf;
    if (split) {
      cards.push(fileCard("Package of split DWARF", split.package),
        ...split.files.map(({ name, file }) => fileCard(splitPath(name)[1], file)));
    }
    return [
      facts([
        ["Recorded as", module.name, "path"],
        ["Build-id", module.build_id || "none recorded", module.build_id ? "mono" : "dim"],
        ["Kind", readable(module.kind)],
        ["Why", module.binary ? null : module.reason],
        ["Symbols", module.symbols_reason],
        ["Sources", module.sources_reason],
        ["Split DWARF", split && `${count(split.found_units)} of ${plural(split.units, "unit")} found`],
        ["Samples", module.samples === null ? null : `${count(module.samples)}, and ${count(module.caller_samples)} as a caller`],
        ["Process", module.pid],
        ["Mount namespace", module.mount_namespace],
      ]),
      make("div", { class: "files" }, ...cards),
    ];
  }

  const columns = [
    { key: "samples", title: "Samples", down: true, value: (entry) => weight(entry.module) },
    { key: "name", title: "Module", value: (entry) => splitPath(entry.module.name)[1].toLowerCase() },
    { key: "status", title: "Status", value: (entry) => rank.indexOf(entry.module.status) },
    { key: "file", title: "File found, or why not", value: (entry) => entry.fileText },
    { key: "proof", title: "Proof", value: (entry) => proof(entry.module.binary) },
    { key: "symbols", title: "Shows", value: (entry) => Object.keys(levels).indexOf(entry.module.level) },
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
    return cell("samples", { title: plural(module.samples, "sample") },
      percent(weight(module), total), make("span", { class: "share", "data-status": module.level }, fill));
  }

  function fileCell(module) {
    const file = module.binary;
    if (!file || !file.path) {
      return cell("file", { "aria-colspan": 2 }, make("span", { class: "why", title: module.reason }, module.reason || ""));
    }
    if (file.path === module.name) return cell("file", null, make("span", { class: "dim" }, "at its recorded path"));
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
    entry.button = make("button", { type: "button", class: "name path", "aria-expanded": "false" }, name || "(no name)");
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
    entry.open = open;
    entry.button.setAttribute("aria-expanded", String(open));
    entry.row.classList.toggle("open", open);
    if (open && !entry.detail) {
      entry.detail = make("tr", { role: "row", class: "detail" }, make("td", { role: "cell", "aria-colspan": columns.length }, ...details(entry.module)));
    }
    if (open) entry.row.after(entry.detail);
    else entry.detail.remove();
  }

  function sortEntries() {
    const column = columns.find((one) => one.key === order.key);
    const keyed = entries.map((entry) => [column.value(entry), entry]);
    const sign = order.down ? -1 : 1;
    keyed.sort(([a, first], [b, second]) =>
      (a < b ? -sign : a > b ? sign : 0) || weight(second.module) - weight(first.module) || first.index - second.index);
    entries = keyed.map(([, entry]) => entry);
    const rows = entries.flatMap((entry) => (entry.open ? [entry.row, entry.detail] : [entry.row]));
    byId("modules").tBodies[0].replaceChildren(...rows);
    for (const header of byId("modules").tHead.rows[0].cells) {
      if (header.dataset.key === order.key) header.setAttribute("aria-sort", order.down ? "descending" : "ascending");
      else header.removeAttribute("aria-sort");
    }
    byId("order").value = order.key;
  }

  function applyFilter() {
    const words = byId("filter").value.toLowerCase().split(/\s+/).filter(Boolean);
    let shown = 0;
    for (const entry of entries) {
      const fits = (!pressed.size || pressed.has(entry.module.level) || pressed.has(entry.module.status)) && words.every((word) => entry.text.includes(word));
      entry.row.hidden = !fits;
      if (entry.detail) entry.detail.hidden = !fits;
      shown += fits ? 1 : 0;
    }
    byId("shown").textContent = shown === entries.length ? count(shown) : `${count(shown)} of ${count(entries.length)}`;
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
    byId("share").textContent = whole ? share("lines") : "\u2013";
    const samples = event ? `the samples${event.name ? ` of ${event.name}` : ""}` : plural(whole, "sample");
    const less = ["incomplete-lines", "names", "exports"].filter((level) => amount(level))
      .map((level) => `, ${share(level)} with ${levels[level].word.toLowerCase()}`).join("");
    const proven = percent(sum((module) => module.status === "resolved"), whole);
    byId("share-words").textContent = whole
      ? `of ${bySamples ? samples : plural(whole, "module")} can be shown with lines${less}; ${proven} ${bySamples ? "lie in files that are" : "have a file that is"} found and proven`
      : "no module to look for";
    byId("bar").replaceChildren(...present.map((level) => {
      const part = make("i", { "data-status": level, title: `${level}: ${share(level)}` });
      part.style.flex = `${amount(level) / whole} 0 0`;
      return part;
    }));
    byId("bar").hidden = !whole;
    byId("bar").setAttribute("aria-label", present.map((level) => `${level} ${share(level)}`).join(", "));

    const label = (level, look, modules) => [
      make("b", { "aria-hidden": "true" }, look.mark), make("span", null, look.word),
      make("small", null, [modules, bySamples ? share(level) : null].filter(Boolean).join(" \u00b7 ")),
    ];
    const chips = Object.keys(levels).filter((level) => summary.levels[level].modules).map((level) =>
      make("button", {
        type: "button", class: "chip", "data-status": level, "aria-pressed": "false",
        on: () => { if (!pressed.delete(level)) pressed.add(level); applyFilter(); },
      }, ...label(level, levels[level], plural(summary.levels[level].modules, "module"))));
    if (amount("unattributed")) {
      chips.push(make("span", { class: "chip", "data-status": "unattributed" },
        ...label("unattributed", { mark: "\u2591", word: "Outside any module" }, plural(summary.unattributed_samples, "sample"))));
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
      ? `What is missing: ${plural(gaps.length, "module")}${total ? `, ${percent(lost, total)} of the samples` : ""}`
      : "No file is missing";
    byId("gaps").querySelector("ol").replaceChildren(...gaps.slice(0, first).map((entry) => make("li", null,
      make("span", null, total ? percent(weight(entry.module), total) : statuses.missing.mark),
      make("button", {
        type: "button", class: "link path",
        on: () => { showOnly(null); toggle(entry, true); entry.button.focus(); entry.row.scrollIntoView({ block: "center" }); },
      }, entry.module.name),
      make("span", { class: "why" }, entry.module.reason))));
    byId("all-gaps").hidden = gaps.length === first;
    byId("all-gaps").textContent = `Show all ${count(gaps.length)}`;
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
    const found = (list) => list.filter((source) => source.file.path).length;
    byId("sources").querySelector("p").textContent =
      `${count(found(report.sources))} of ${plural(report.sources.length, "file")} found, in ${plural(directories.size, "directory", "directories")}.`;
    const sorted = [...directories].sort(([a], [b]) => (a < b ? -1 : 1));
    byId("sources").querySelector(".directories").replaceChildren(...sorted.map(([directory, list]) => {
      const box = make("details", null, make("summary", null, make("span", { class: "path" }, directory || "(no directory)"),
        make("span", { class: "dim" }, `${count(found(list))} of ${count(list.length)}`)));
      box.addEventListener("toggle", () => box.append(make("ul", null, ...list.map((source) => make("li", { title: source.module },
        make("span", { class: "state", "data-status": source.file.path ? "resolved" : "missing" }, statuses[source.file.path ? "resolved" : "missing"].mark),
        make("span", { class: "path" }, splitPath(source.name)[1]),
        make("span", { class: "path dim" }, source.file.path || source.file.reason))))), { once: true });
      return box;
    }));
  }

  function showEvents(report) {
    byId("events").hidden = report.events.length < 2;
    byId("events").replaceChildren(...report.events.map((each, index) => make("button", {
      type: "button", class: "quiet", "aria-pressed": String(index === eventIndex), on: () => show(report, index),
    }, each.name || `event ${index + 1}`)));
  }

  function show(report, shown = 0) {
    eventIndex = shown;
    event = report.events[shown] || null;
    showEvents(report);
    document.title = `${report.input} \u2013 lokata resolve`;
    byId("input").textContent = report.input === "-" ? "standard input" : report.input;
    byId("facts").textContent = [
      report.format, plural(report.modules.length, "module"),
      report.summary.samples === null ? "no samples recorded" : plural(report.summary.samples, "sample"),
      report.host_name, report.architecture, report.kernel_release && `kernel ${report.kernel_release}`,
      `looked for in ${duration(report.elapsed_us)}`,
    ].filter(Boolean).join(" \u00b7 ");

    byId("errors").hidden = !report.errors.length;
    byId("errors").querySelector("ul").replaceChildren(...report.errors.map((error) =>
      make("li", null, error.offset ? make("span", { class: "mono" }, `byte ${count(error.offset)}: `) : null, error.message)));

    pressed.clear();
    const total = showShare(report);
    entries = report.modules.map((module, index) => {
      const entry = { module, index, open: false, detail: null };
      const paths = Object.keys(roles).map((role) => module[role] && module[role].path);
      entry.fileText = ((module.binary && module.binary.path) || module.reason || "").toLowerCase();
      entry.text = [module.status, module.level, module.name, module.build_id, module.kind, module.reason, ...paths].filter(Boolean).join("\n").toLowerCase();
      entry.row = moduleRow(entry, total);
      entry.row.addEventListener("click", () => { if (getSelection().isCollapsed) toggle(entry, !entry.open); });
      return entry;
    });
    byId("app").classList.toggle("uncounted", !total);
    order = total ? { key: "samples", down: true } : { key: "status", down: false };
    showGaps(total);
    sortEntries();
    applyFilter();

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
      byId("theme").textContent = `Theme: ${theme || "auto"}`;
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
    byId("order").append(...columns.map((column) => make("option", { value: column.key }, `Sort by ${column.title.split(",")[0].toLowerCase()}`)));
    byId("order").addEventListener("change", (event) => {
      const column = columns.find((one) => one.key === event.target.value);
      order = { key: column.key, down: !!column.down };
      sortEntries();
    });
    byId("filter").addEventListener("input", applyFilter);
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
