// The page's own part: its controls send commands to the session, replies of the session fill its tables and texts.
;(() => {
  const at = (id) => document.getElementById(id)
  const all = (selector, root = document) => [...root.querySelectorAll(selector)]
  const digits = (value, count) => value == null ? "" : Number(value).toFixed(count).replace(/^-(0(\.0*)?)$/, "$1")
  const counts = (value) => value == null ? "" : Math.round(value).toLocaleString("en")
  let link = null, number = 0, hasMaps = false, kind = {}, frame = null, boxes = [], precursors = {sort: "id", down: false, first: 0}
  const colours = {}

  function send(what, values = {}) {
    if (link) link.command = {do: what, number: ++number, ...values}
  }

  function element(name, {text, attributes = {}, on = {}, children = []} = {}) {
    const made = document.createElement(name)
    if (text != null) made.textContent = text
    for (const [key, value] of Object.entries(attributes)) if (value != null && value !== false) made.setAttribute(key, value)
    for (const [key, value] of Object.entries(on)) made.addEventListener(key, value)
    made.append(...children)
    return made
  }

  function row(cells, attributes = {}) {
    return element("tr", {attributes, children: cells.map((cell) => cell instanceof Node ? cell
      : element("td", typeof cell == "object" ? cell : {text: cell, attributes: {class: /^[\d.,\u2212 %-]+$/.test(cell) ? "number" : null}}))})
  }

  function fill(table, rows) {
    at(table).querySelector("tbody").replaceChildren(...rows)
  }

  // --- figures ---------------------------------------------------------------------------------------------------------

  const redrawn = {frame_map: "frame.zoom", run_mz: "maps.zoom", run_mobility: "maps.zoom", box_spectrum: "box.zoom", msms: "precursor.zoom"}
  const pause = {frame_map: 20, box_spectrum: 20, msms: 20, run_mz: 300, run_mobility: 300}
  const sized = ["chromatogram", "frame_map", "frame_spectrum"]  // whose drawing depends on their size
  const waiting = {}

  function inner(name) {
    const figure = kovaFigures.model(name), ratio = window.devicePixelRatio || 1
    return [Math.round((figure?.inner_width || 0) * ratio), Math.round((figure?.inner_height || 0) * ratio)]
  }

  // A figure that has been zoomed is drawn again by the session; while one drawing is under way, the last zoom waits.
  function watchZoom(name) {
    const figure = kovaFigures.model(name), state = waiting[name] = {timer: null, busy: false, again: false}
    const ask = () => {
      state.timer = null
      if (state.busy) { state.again = true; return }
      const [width, height] = inner(name)
      if (!width || !height || (name.startsWith("run_") && !hasMaps)) return
      const {x_range: x, y_range: y} = figure
      if (name == "frame_map") { state.busy = true; setTimeout(() => drawn(name), 3000) }
      send(redrawn[name], {figure: name, x: [x.start, x.end], y: [y.start, y.end], width, height})
    }
    const soon = () => { if (state.timer == null) state.timer = setTimeout(ask, pause[name]) }
    const last = () => { clearTimeout(state.timer); state.timer = setTimeout(ask, pause[name]) }
    const changed = pause[name] > 100 ? last : soon
    state.ask = ask
    for (const range of name == "box_spectrum" || name == "msms" ? [figure.x_range] : [figure.x_range, figure.y_range]) {
      range.properties.start.change.connect(changed)
      range.properties.end.change.connect(changed)
    }
    figure.properties.inner_width.change.connect(last)
    figure.properties.inner_height.change.connect(last)
  }

  // A figure that the session has added goes to its place as soon as it has been rendered.
  function place(name) {
    const view = kovaFigures.view(name)
    if (!view?.el?.isConnected) { setTimeout(() => place(name), 20); return }
    at(`chart-${name}`).querySelector(".canvas").append(view.el)
    kovaFigures.apply()
    if (name in redrawn) watchZoom(name)
  }

  function drawn(name) {
    const state = waiting[name]
    state.busy = false
    if (state.again) { state.again = false; state.ask() }
  }

  // Analyses without mobility have no map; their spectrum is drawn again in its place.
  function watchSpectrum() {
    const figure = kovaFigures.model("frame_spectrum")
    let timer = null
    const ask = () => {
      timer = null
      if (kind.mobility !== false) return
      const [width, height] = inner("frame_spectrum")
      send("frame.zoom", {x: [figure.x_range.start, figure.x_range.end], width, height})
    }
    for (const property of [figure.x_range.properties.start, figure.x_range.properties.end, figure.properties.inner_width]) {
      property.change.connect(() => { clearTimeout(timer); timer = setTimeout(ask, 20) })
    }
  }

  function watchSize(name) {
    const figure = kovaFigures.model(name)
    const tell = () => { const [width, height] = inner(name); send("chromatogram.size", {width, height}) }
    figure.properties.inner_width.change.connect(tell)
    tell()
  }

  // What is at the pointer, once it rests.
  function watchPointer() {
    const figure = kovaFigures.model("frame_map"), canvas = at("chart-frame_map").querySelector(".canvas")
    let timer = null
    canvas.addEventListener("pointermove", (event) => {
      clearTimeout(timer)
      timer = setTimeout(() => {
        const view = kovaFigures.view("frame_map")
        const place = view.canvas_view?.el.getBoundingClientRect() ?? canvas.getBoundingClientRect()
        const box = view.frame.bbox, x = event.clientX - place.left, y = event.clientY - place.top
        if (x < box.left || x > box.right || y < box.top || y > box.bottom) return
        const [xs, ys] = [figure.x_range, figure.y_range]
        const dx = (xs.end - xs.start) / box.width, dy = (ys.end - ys.start) / box.height
        send("frame.peak", {x: xs.start + (x - box.left) * dx, y: ys.end - (y - box.top) * dy, dx, dy})
      }, 60)
    })
  }

  function zoomBy(name, factor, both) {
    const figure = kovaFigures.model(name)
    for (const range of both ? [figure.x_range, figure.y_range] : [figure.x_range]) {
      const middle = (range.start + range.end) / 2, half = (range.end - range.start) / 2 * factor
      range.setv({start: middle - half, end: middle + half})
    }
  }

  function move(name, x, y) {
    const figure = kovaFigures.model(name)
    for (const [range, by] of [[figure.x_range, x], [figure.y_range, y]]) {
      const step = (range.end - range.start) * 0.15 * by
      if (step) range.setv({start: range.start + step, end: range.end + step})
    }
  }

  function isMap(name) { return name == "frame_map" || name == "run_mz" || name == "run_mobility" }

  function figureKey(event, name) {
    const both = isMap(name), arrows = {ArrowLeft: [-1, 0], ArrowRight: [1, 0], ArrowUp: [0, 1], ArrowDown: [0, -1]}
    if (event.ctrlKey || event.metaKey || event.altKey) return
    if (event.key in arrows && !(name == "chromatogram")) {
      const [x, y] = arrows[event.key]
      if (!both && y) return
      move(name, x, y)
    } else if (event.key == "+" || event.key == "=") zoomBy(name, 0.7, both)
    else if (event.key == "-") zoomBy(name, 1 / 0.7, both)
    else if (event.key == "0") { if (name == "frame_map") send("frame.whole"); else reset(name) }
    else if (event.key == "b" && both) boxFromView(name)
    else return
    event.preventDefault()
    event.stopPropagation()
  }

  function reset(name) {
    const figure = kovaFigures.model(name)
    for (const range of [figure.x_range, figure.y_range]) {
      if (range.reset_start != null) range.setv({start: range.reset_start, end: range.reset_end})
    }
  }

  function boxFromView(name = "frame_map") {
    const {x_range: x, y_range: y} = kovaFigures.model(name)
    const ends = {x: [x.start, x.end], y: [y.start, y.end]}
    const unit = kind.label.includes("min") ? 60 : 1, time = ends.x.map((end) => end * unit)
    const level = frame?.ms_level
    if (name == "frame_map") send("box", kind.mobility_calibration ? {level, mz: ends.x, mobility: ends.y} : {level, mz: ends.x})
    else send("box", name == "run_mz" ? {time, mz: ends.y} : {time, mobility: ends.y})
    openTab("tab-boxes")
  }

  async function save(name, what) {
    if (what == "csv" || what == "code") { send(what, {figure: name}); return }
    const part = name.startsWith("frame_") && frame ? `-${frame.id}` : ""
    await kovaFigures.savePicture(name, what, `${kind.name}-${name}${part}.${what}`)
  }

  // --- colours of maps ---------------------------------------------------------------------------------------------------

  function applyColours(name) {
    const mapper = kovaFigures.model(`${name}_colours`), range = colours[name]
    const box = all("[data-colours]").find((one) => one.dataset.colours.split(" ").includes(name))
    if (!mapper || !range || !box) return
    const part = (end) => Number(box.querySelector(`[data-end=${end}]`).value) / 100
    const value = (share) => range.low * (range.high / range.low) ** share
    const low = Math.min(part("low"), part("high") - 0.02)
    mapper.setv({low: value(Math.max(low, 0)), high: value(Math.max(part("high"), 0.02))})
  }

  // --- tabs --------------------------------------------------------------------------------------------------------------

  function openTab(id, focus = false) {
    const tab = at(id), list = tab.closest("[role=tablist]")
    for (const other of all("[role=tab]", list)) {
      const chosen = other == tab
      other.setAttribute("aria-selected", chosen)
      other.tabIndex = chosen ? 0 : -1
      at(other.getAttribute("aria-controls")).hidden = !chosen
    }
    if (focus) tab.focus()
    if (id == "tab-view-run") requestAnimationFrame(() => requestAnimationFrame(() => {
      const [width, height] = inner("run_mz")
      send("maps", {width, height})
    }))
  }

  function listenToTabs() {
    for (const list of all("[role=tablist]")) {
      list.addEventListener("click", (event) => { if (event.target.role == "tab") openTab(event.target.id) })
      list.addEventListener("keydown", (event) => {
        const tabs = all("[role=tab]", list).filter((tab) => tab.offsetParent), place = tabs.indexOf(event.target)
        const next = {ArrowRight: place + 1, ArrowLeft: place - 1, Home: 0, End: tabs.length - 1}[event.key]
        if (next == null) return
        openTab(tabs[(next + tabs.length) % tabs.length].id, true)
        event.preventDefault()
        event.stopPropagation()
      })
    }
  }

  // --- what the session says ---------------------------------------------------------------------------------------------

  const heard = {
    all({replies}) {
      for (const one of replies) heard[one.what]?.(one)
      // What is not seen at once comes after the screen has shown what there is.
      requestAnimationFrame(() => requestAnimationFrame(() => send("more")))
    },
    runs({runs, chosen}) {
      at("run").replaceChildren(...runs.map((name, place) => element("option", {text: name, attributes: {value: place}})))
      at("run").value = chosen
      at("run-choice").hidden = runs.length < 2
    },
    kind(told) {
      kind = told
      document.body.dataset.kind = told.mobility ? "mobility" : "spectra"
      document.title = `${told.name} \u2013 kova view`
      at("messages").replaceChildren()
      showMaps()
      hasMaps = false  // until then their axes are those of another run
      const word = told.mobility ? "frame" : "spectrum"
      const words = told.frames == 1 ? word : told.mobility ? "frames" : "spectra"
      at("facts").textContent = `${told.name} \u00b7 ${counts(told.frames)} ${words}`
      at("chart-frame_spectrum").querySelector("figcaption").textContent = told.forms > 1 ? "Profile above, lines below" : "Spectrum"
      all(".frame-word").forEach((one) => { one.textContent = word[0].toUpperCase() + word.slice(1) })
      at("map-frames").textContent = told.levels.includes(1) ? "MS1 frame" : "frame"
      at("levels").hidden = !(told.levels.includes(1) && told.levels.includes(2))
      for (const state of Object.values(waiting)) state.again = state.busy = false
      if (!told.mobility && ["tab-boxes", "tab-precursors"].includes(document.querySelector(".side [aria-selected=true]").id)) openTab("tab-about")
      if (!told.mobility) openTab("tab-view-frame")
    },
    placed({figures}) { figures.forEach(place) },
    ready() { kovaFigures.apply() },
    dress() { kovaFigures.apply() },
    zoomed() { drawn("frame_map") },
    no_maps({text}) { showMaps(text) },
    maps() { hasMaps = true; kovaFigures.apply() },
    frame({frame: told}) {
      frame = told
      at("frame").value = told.id
      const level = {1: "MS1", 2: "MS/MS"}[told.ms_level]
      at("frame-facts").textContent = [level, told.time == null ? null : `${digits(told.time, 2)} s`,
        told.peaks >= 0 ? `${counts(told.peaks)} peaks` : null].filter(Boolean).join(" \u00b7 ")
    },
    colours({figure, low, high}) {
      colours[figure] = {low, high}
      applyColours(figure)
    },
    drawn({form, peaks}) {
      at("drawn").textContent = form == "peaks" ? `${counts(peaks)} peaks, drawn one by one` : `${counts(peaks)} peaks in view`
    },
    peak({peak}) {
      const facts = peak == null ? [["", "no peak here"]] : [["m/z", digits(peak.mz, 5)], ["1/K\u2080", digits(peak.one_over_k0, 5)],
        ["scan", peak.scan], ["index", peak.index], ["intensity", counts(peak.intensity)]].filter(([, value]) => value !== "")
      at("readout").replaceChildren(...facts.flatMap(([name, value]) => [element("dt", {text: name}), element("dd", {text: value})]))
    },
    message({text, key}) {
      all(".message").filter((one) => key && one.dataset.key == key).forEach((one) => one.remove())
      if (!text) return
      const shown = element("div", {attributes: {class: "message", "data-key": key}, children: [element("span", {text})]})
      shown.append(element("button", {text: "Dismiss", attributes: {type: "button"}, on: {click: () => shown.remove()}}))
      at("messages").append(shown)
    },
    progress({name, title, done, total}) {
      let job = all(".job").find((one) => one.dataset.name == name)
      if (!total) { job?.remove(); return }
      if (!job) {
        job = element("div", {attributes: {class: "job", "data-name": name}, children: [element("span"),
          element("progress", {attributes: {"aria-label": title}}),
          element("button", {text: "Cancel", attributes: {type: "button"}, on: {click: () => send("cancel", {name})}})]})
        at("jobs").append(job)
      }
      job.querySelector("span").textContent = title
      const bar = job.querySelector("progress")
      bar.max = total
      if (done) bar.value = done
    },
    boxes({boxes: told, chosen}) {
      boxes = told
      at("no-boxes").hidden = told.length > 0
      at("box-table").hidden = !told.length
      for (const one of all("#boxes .chart")) one.hidden = !told.length
      at("box-save").disabled = !told.length
      const order = [...told.filter((one) => one.id == chosen), ...told.filter((one) => one.id != chosen && one.compared)]
      const range = (ends, count) => ends == null ? "all" : ends.map((end) => end == null ? "\u2026" : digits(end, count)).join(" \u2013 ")
      fill("box-table", told.map((one) => boxRow(one, chosen, order.indexOf(one), range)))
    },
    peaks({peaks}) {
      at("peak-table").hidden = !peaks.length
      fill("peak-table", peaks.map((one) => row([digits(one.mz, 5), counts(one.intensity), `${digits(100 * one.share, 2)} %`, counts(one.count)])))
    },
    precursors(told) {
      Object.assign(precursors, {first: told.first, page: told.page ?? 50, found: told.found})
      fill("precursor-table", told.rows.map((one) => precursorRow(one, told.chosen)))
      const last = Math.min(told.first + told.rows.length, told.found)
      at("page-text").textContent = told.found ? `${counts(told.first + 1)} \u2013 ${counts(last)} of ${counts(told.found)}` +
        (told.found < told.total ? `, ${counts(told.total)} without filters` : "") : told.total ? "none fits the filters" : "this run has no precursors"
      at("page-back").disabled = told.first == 0
      at("page-on").disabled = last >= told.found
    },
    precursor({precursor: told, isolations}) {
      for (const one of all("#precursors .chart")) one.hidden = told == null
      at("precursor-facts").replaceChildren(...(told == null ? [] : precursorFacts(told, isolations)))
      for (const one of all("#precursor-table tbody tr")) one.classList.toggle("chosen", told != null && one.dataset.id == told.id)
    },
    about({facts, metadata, calibrations}) {
      const pairs = (list) => list.map(([name, value]) => element("tr", {children: [element("th", {text: name, attributes: {scope: "row"}}), element("td", {text: value})]}))
      fill("fact-table", pairs(facts))
      fill("metadata-table", pairs(metadata))
      const range = (ends, count) => ends && ends[0] != null ? `${digits(Math.min(...ends), count)} \u2013 ${digits(Math.max(...ends), count)}` : "not calibrated"
      fill("calibration-table", calibrations.map((one) => row([one.mz < 0 ? "not stated" : String(one.mz), one.mobility < 0 ? "not stated" : String(one.mobility), counts(one.frames),
        one.error ?? range(one.mz_ends, 2), range(one.mobility_ends, 4)])))
    },
    states({states, calibration, acquisition}) {
      const choices = [[acquisition, "of the acquisition"], ...states.map((one, place) => [`uuid:${one.key}`, `state ${place + 1}${one.source ? `, ${one.source}` : ""}`])]
      for (const id of ["calibration", "ppm-first", "ppm-second"]) {
        at(id).replaceChildren(...choices.map(([value, text]) => element("option", {text, attributes: {value}})))
      }
      at("calibration").value = calibration
      at("calibration-choice").hidden = !states.length
      if (choices.length > 1) at("ppm-second").value = choices.at(-1)[0]
      at("no-states").hidden = states.length > 0
      at("state-table").hidden = at("ppm-form").hidden = !states.length
      at("ppm-text").textContent = ""
      at("chart-ppm").hidden = true
      const mapped = (count, rest) => count > 0 ? `${counts(count)} frames` : rest
      fill("state-table", choices.map(([value, text], place) => row([text, place ? mapped(states[place - 1].mass_per_frame ? states[place - 1].mass_frames : 0, "by polarity") : "",
        place ? mapped(states[place - 1].mobility_frames, "\u2013") : "", element("td", {children: [element("button", {text: value == calibration ? "In use" : "Use",
          attributes: {type: "button", disabled: value == calibration}, on: {click: () => send("calibration", {state: value})}})]})])))
    },
    ppm({frame: of, largest}) {
      at("chart-ppm").hidden = false
      at("ppm-text").textContent = `At frame ${of}, up to ${digits(largest, 3)} ppm.`
    },
    download({address, name}) {
      element("a", {attributes: {href: address, download: name}}).click()
    },
    code({text, figure}) {
      at("code").querySelector("code").textContent = text
      at("code").dataset.figure = figure
      at("code").showModal()
    },
  }

  // The maps of the run, or why there are none.
  function showMaps(missing = "") {
    at("no-maps").textContent = missing
    for (const one of at("view-run").children) one.hidden = (one.id == "no-maps") == !missing
  }

  function boxRow(one, chosen, place, range) {
    const roles = ["blue", "vermillion", "green", "purple", "sky", "amber", "yellow", "grey"]
    const swatch = element("span", {attributes: {class: "swatch", style: place < 0 ? null : `background:var(--${roles[place]})`}})
    const show = element("input", {attributes: {type: "checkbox", "aria-label": `Show ${one.name}`, checked: place >= 0, disabled: one.id == chosen},
      on: {change: (event) => send("box.compare", {box: one.id, on: event.target.checked})}})
    const name = element("input", {attributes: {type: "text", value: one.name, "aria-label": "Name of the box", maxlength: 80},
      on: {change: (event) => send("box.rename", {box: one.id, name: event.target.value})}})
    const choose = element("button", {text: range(one.mz, 3), attributes: {type: "button", class: "link", "aria-label": `Choose ${one.name}`},
      on: {click: () => send("box.choose", {box: one.id})}})
    const remove = element("button", {text: "\u00d7", attributes: {type: "button", "aria-label": `Remove ${one.name}`}, on: {click: () => send("box.remove", {box: one.id})}})
    const cell = (...children) => element("td", {children})
    return element("tr", {attributes: {class: one.id == chosen ? "chosen" : null}, children: [cell(show, swatch), cell(name), cell(choose),
      element("td", {text: range(one.mobility, 3)}), element("td", {text: range(one.time, 1)}), cell(remove)]})
  }

  function precursorRow(one, chosen) {
    const button = element("button", {text: one.id, attributes: {type: "button", class: "link", "aria-label": `Precursor ${one.id}`},
      on: {click: () => send("precursor", {precursor: one.id})}})
    const number = (text) => ({text, attributes: {class: "number"}})
    return row([element("td", {children: [button]}), number(digits(one.mz, 4)), number(one.charge || ""), number(counts(one.intensity)),
      number(digits(one.time, 1)), number(digits(one.one_over_k0, 4)), number(one.frame < 0 ? "" : one.frame)],
    {"data-id": one.id, class: one.id == chosen ? "chosen" : null})
  }

  function precursorFacts(told, isolations) {
    const text = [`Precursor ${told.id}`, told.mz == null ? null : `m/z ${digits(told.mz, 4)}`, told.charge ? `charge ${told.charge}` : null,
      told.one_over_k0 == null ? null : `1/K\u2080 ${digits(told.one_over_k0, 4)}`, told.ccs == null ? null : `CCS ${digits(told.ccs, 1)} \u00c5\u00b2`,
      isolations.length ? `isolated in scans ${Math.min(...isolations.map((one) => one.scan_begin))} to ${Math.max(...isolations.map((one) => one.scan_end)) - 1}` : null,
      `${counts(told.peaks)} fragment peaks`].filter(Boolean).join(" \u00b7 ")
    const go = (label, to) => element("button", {text: label, attributes: {type: "button"}, on: {click: () => { openTab("tab-view-frame"); send("precursor.go", {frame: to}) }}})
    const parts = [element("span", {text: `${text}. `})]
    if (told.frame != null) parts.push(go(`Survey frame ${told.frame}`, told.frame), " ")
    for (const one of isolations.slice(0, 6)) parts.push(go(`MS/MS frame ${one.frame}`, one.frame), " ")
    if (isolations.length > 6) parts.push(`and ${isolations.length - 6} more frames`)
    return parts
  }

  // --- controls ----------------------------------------------------------------------------------------------------------

  function ranges(form, names) {
    const found = {}
    for (const name of names) {
      const ends = [0, 1].map((end) => form.elements[name + end].value).map((value) => value === "" ? null : Number(value))
      if (ends.some((end) => end != null)) found[name] = ends
    }
    return found
  }

  function listPrecursors() {
    send("precursors", {sort: precursors.sort, down: precursors.down, first: precursors.first, filters: ranges(at("filter-form"), ["mz", "charge", "time", "intensity"])})
  }

  function makePrecursorHead() {
    const columns = [["id", "id"], ["mz", "m/z"], ["charge", "charge"], ["intensity", "intensity"], ["time", "time (s)"], ["one_over_k0", "1/K\u2080"], ["frame", "frame"]]
    const cells = columns.map(([name, text], place) => element("th", {attributes: {scope: "col", class: place ? "number" : null, "data-sort": name}, children: [
      element("button", {text, attributes: {type: "button"}, on: {click: () => {
        Object.assign(precursors, {down: precursors.sort == name ? !precursors.down : name == "intensity", sort: name, first: 0})
        markSort()
        listPrecursors()
      }}})]}))
    at("precursor-table").querySelector("thead tr").append(...cells)
    markSort()
  }

  function markSort() {
    for (const cell of all("[data-sort]")) {
      const here = cell.dataset.sort == precursors.sort
      cell.setAttribute("aria-sort", here ? precursors.down ? "descending" : "ascending" : "none")
      const button = cell.querySelector("button")
      button.textContent = button.textContent.replace(/ [\u25b2\u25bc]$/, "") + (here ? precursors.down ? " \u25bc" : " \u25b2" : "")
    }
  }

  function listenToChromatogram() {
    const choose = () => send("chromatogram", {kind: document.querySelector("[name=kind]:checked").value, ms1: at("ms1").checked, ms2: at("ms2").checked})
    for (const one of [...all("[name=kind]"), at("ms1"), at("ms2")]) one.addEventListener("change", choose)
    for (const one of all("[data-step]")) one.addEventListener("click", (event) => send("step", {by: Number(one.dataset.step), level: event.shiftKey}))
    at("frame").addEventListener("change", () => { if (at("frame").value !== "") send("frame", {frame: Number(at("frame").value)}) })
  }

  function listenToBoxes() {
    at("box-form").addEventListener("submit", (event) => {
      event.preventDefault()
      send("box", ranges(event.target, ["mz", "mobility", "time"]))
    })
    at("box-file").addEventListener("change", async (event) => {
      const [file] = event.target.files
      if (file && file.size > 4e6) heard.message({text: "The file is larger than 4 MB.", key: "file"})
      else if (file) send("box.load", {text: await file.text()})
      event.target.value = ""
    })
    at("box-save").addEventListener("click", () => send("box.save"))
    at("box-from-view").addEventListener("click", () => boxFromView())
    at("whole").addEventListener("click", () => send("frame.whole"))
  }

  function listenToPrecursors() {
    makePrecursorHead()
    let timer = null
    at("filter-form").addEventListener("input", () => { clearTimeout(timer); timer = setTimeout(() => { precursors.first = 0; listPrecursors() }, 150) })
    at("filter-form").addEventListener("submit", (event) => event.preventDefault())
    at("page-back").addEventListener("click", () => { precursors.first -= precursors.page; listPrecursors() })
    at("page-on").addEventListener("click", () => { precursors.first += precursors.page; listPrecursors() })
  }

  function listenToFigures() {
    for (const chart of all(".chart")) {
      chart.querySelector(".canvas").addEventListener("keydown", (event) => figureKey(event, chart.dataset.chart))
      chart.addEventListener("click", (event) => {
        const what = event.target.dataset?.save
        if (!what) return
        const menu = event.target.closest("details")
        menu.open = false
        menu.querySelector("summary").focus()
        save(chart.dataset.chart, what)
      })
    }
    document.addEventListener("click", (event) => all("details.save[open]").forEach((one) => { if (!one.contains(event.target)) one.open = false }))
    for (const box of all("[data-colours]")) {
      box.addEventListener("input", () => box.dataset.colours.split(" ").forEach(applyColours))
    }
  }

  function listenToPage() {
    at("run").addEventListener("change", () => send("run", {run: Number(at("run").value)}))
    at("calibration").addEventListener("change", () => send("calibration", {state: at("calibration").value}))
    at("ppm-form").addEventListener("submit", (event) => {
      event.preventDefault()
      send("ppm", {first: at("ppm-first").value, second: at("ppm-second").value})
    })
    const nameTheme = () => { at("theme").textContent = document.documentElement.dataset.theme == "dark" ? "Light" : "Dark" }
    at("theme").addEventListener("click", () => { kovaFigures.choose(document.documentElement.dataset.theme == "dark" ? "light" : "dark"); nameTheme() })
    new MutationObserver(nameTheme).observe(document.documentElement, {attributeFilter: ["data-theme"]})
    nameTheme()
    at("show-keys").addEventListener("click", () => at("keys").showModal())
    for (const one of all("[data-close]")) one.addEventListener("click", () => one.closest("dialog").close())
    at("copy-code").addEventListener("click", async () => {
      await navigator.clipboard.writeText(at("code").querySelector("code").textContent)
      at("copy-code").textContent = "Copied"
      setTimeout(() => { at("copy-code").textContent = "Copy" }, 1500)
    })
    at("save-code").addEventListener("click", () => kovaFigures.save(new Blob([at("code").querySelector("code").textContent]), `${at("code").dataset.figure}.py`))
  }

  // Arrow keys go from frame to frame wherever nothing else takes them.
  function stepByKeys(event) {
    const by = {ArrowLeft: -1, ArrowRight: 1}[event.key]
    const isTaken = event.target.closest?.("input, select, textarea, dialog, [role=tablist], pre, summary") ||
      (event.target.closest?.(".canvas") && !event.target.closest("#chart-chromatogram"))
    if (!by || isTaken || event.ctrlKey || event.metaKey || event.altKey) return
    send("step", {by, level: event.shiftKey})
    event.preventDefault()
  }

  // --- beginning ---------------------------------------------------------------------------------------------------------

  function makeCharts() {
    const kinds = [["png", "Picture (PNG)"], ["svg", "Drawing (SVG)"], ["csv", "Numbers (CSV)"], ["code", "Code for this view"]]
    for (const chart of all(".chart")) {
      const {label} = chart.dataset
      chart.dataset.chart = chart.id.replace("chart-", "")
      const menu = element("div", {attributes: {class: "menu"}, children: kinds.map(([kind, text]) => element("button", {text, attributes: {type: "button", "data-save": kind}}))})
      const saving = element("details", {attributes: {class: "save"}, children: [element("summary", {text: "Save", attributes: {"aria-label": `Save: ${label}`}}), menu]})
      chart.append(element("div", {attributes: {class: "tools"}, children: [element("figcaption", {text: label}), saving]}),
        element("div", {attributes: {class: "canvas", tabindex: 0, role: "group", "aria-label": `${label}; arrow keys move, plus and minus zoom, 0 shows everything`}}))
    }
  }

  // Before there are figures, what their canvases leave for the data.
  function expected(name) {
    const canvas = at(`chart-${name}`).querySelector(".canvas"), ratio = window.devicePixelRatio || 1
    return [Math.round((canvas.clientWidth - 140) * ratio), Math.round((canvas.clientHeight - 88) * ratio)]
  }

  // At every drawing, figures ask the browser for its styles: whether they override the colour of each label, and for the size
  // of the font. That takes half of a drawing, and the answer is always the same.
  function settleStyles() {
    const {VisualProperties} = Bokeh.require("core/visuals/visual"), {PlotView} = Bokeh.require("models/plots/plot_canvas")
    const size = parseFloat(getComputedStyle(document.body).fontSize)
    VisualProperties.prototype._get_css_value = () => ""
    Object.defineProperty(PlotView.prototype, "base_font_size", {get: () => size})
  }

  // Asks for the first figures while the browser still gets the script that draws them.
  async function embed() {
    const sizes = Object.fromEntries(sized.map((name) => [name, expected(name)]))
    const script = new Promise((done) => { if (window.Bokeh) done(); else at("bokeh").addEventListener("load", done) })
    try {
      const told = await (await fetch(`begin?sizes=${encodeURIComponent(JSON.stringify(sizes))}`)).json()
      if (told.failure) throw new Error(told.failure)
      document.title = told.title
      document.body.dataset.kind = told.kind
      await script
      settleStyles()
      const roots = Object.fromEntries(told.roots.map(([id, name]) => [id, at(`chart-${name}`)?.querySelector(".canvas") ?? at(name)]))
      await Bokeh.embed.embed_items({}, [{token: told.token, root_ids: Object.keys(roots), roots, use_for_title: false}])
      whenThere()
    } catch (error) {
      document.body.dataset.kind = "failed"
      heard.message({text: error.message, key: "begin"})
    }
  }

  function begin(figures) {
    link = kovaFigures.model("link")
    link.properties.reply.change.connect(() => {
      const told = link.reply instanceof Map ? Object.fromEntries(link.reply) : link.reply
      heard[told.what]?.(plain(told))
    })
    figures.on_event("connection_lost", () => { at("gone").hidden = false })
    figures.on_event("client_reconnected", () => { at("gone").hidden = true })
    kovaFigures.apply()
    watchZoom("frame_map")
    watchSpectrum()
    watchPointer()
    send("hello", {sizes: Object.fromEntries(sized.map((name) => [name, inner(name)]))})
    watchSize("chromatogram")
  }

  function plain(value) {
    if (value instanceof Map) return Object.fromEntries([...value].map(([name, one]) => [name, plain(one)]))
    if (Array.isArray(value)) return value.map(plain)
    if (value != null && value.constructor == Object) return Object.fromEntries(Object.entries(value).map(([name, one]) => [name, plain(one)]))
    return value
  }

  function whenThere() {
    const [figures] = window.Bokeh?.documents ?? []
    if (figures?.is_idle) begin(figures)
    else setTimeout(whenThere, 15)
  }

  document.addEventListener("DOMContentLoaded", () => {
    makeCharts()
    embed()
    listenToPage()
    listenToTabs()
    listenToChromatogram()
    listenToBoxes()
    listenToPrecursors()
    listenToFigures()
    document.addEventListener("keydown", stepByKeys)
  })
})()
