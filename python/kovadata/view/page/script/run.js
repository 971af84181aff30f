// The run and the frame that are chosen, and what there is of them.

import {all, at, counts, digits, element} from "./dom.js"
import {forget} from "./drawing.js"
import {send} from "./link.js"
import {shown} from "./shown.js"
import {openTab} from "./tabs.js"

// The maps of the run, or why there are none.
function showMaps(missing = "") {
  at("no-maps").textContent = missing
  for (const one of at("view-run").children) one.hidden = (one.id == "no-maps") == !missing
}

export function listen() {
  at("run").addEventListener("change", () => send("run", {run: Number(at("run").value)}))
  const choose = () => send("chromatogram", {kind: document.querySelector("[name=kind]:checked").value, ms1: at("ms1").checked, ms2: at("ms2").checked})
  for (const one of [...all("[name=kind]"), at("ms1"), at("ms2")]) one.addEventListener("change", choose)
  for (const one of all("[data-step]")) one.addEventListener("click", (event) => send("step", {by: Number(one.dataset.step), level: event.shiftKey}))
  at("frame").addEventListener("change", () => { if (at("frame").value !== "") send("frame", {frame: Number(at("frame").value)}) })
}

export const replies = {
  runs({runs, chosen}) {
    at("run").replaceChildren(...runs.map((name, place) => element("option", {text: name, attributes: {value: place}})))
    at("run").value = chosen
    at("run-choice").hidden = runs.length < 2
  },
  kind(told) {
    Object.assign(shown, {kind: told, hasMaps: false})  // until they are there, their axes are those of another run
    forget()
    document.body.dataset.kind = told.mobility ? "mobility" : "spectra"
    document.title = `${told.name} \u2013 kova view`
    at("messages").replaceChildren()
    showMaps()
    const word = told.mobility ? "frame" : "spectrum"
    const words = told.frames == 1 ? word : told.mobility ? "frames" : "spectra"
    at("facts").textContent = `${told.name} \u00b7 ${counts(told.frames)} ${words}`
    at("chart-frame_spectrum").querySelector("figcaption").textContent = told.forms > 1 ? "Profile above, lines below" : "Spectrum"
    all(".frame-word").forEach((one) => { one.textContent = word[0].toUpperCase() + word.slice(1) })
    at("map-frames").textContent = told.levels.includes(1) ? "MS1 frame" : "frame"
    // Boxes have ranges of what the run has.
    for (const [name, isThere] of [["mobility0", told.mobility_calibration], ["time0", told.label.includes("time")]]) {
      const ends = at("box-form").elements[name].closest("fieldset")
      ends.hidden = !isThere
      for (const one of all("input", ends)) if (!isThere) one.value = ""
    }
    at("levels").hidden = !(told.levels.includes(1) && told.levels.includes(2))
    if (!told.mobility && ["tab-boxes", "tab-precursors"].includes(document.querySelector(".side [aria-selected=true]").id)) openTab("tab-about")
    if (!told.mobility) openTab("tab-view-frame")
  },
  no_maps({text}) { showMaps(text) },
  maps() { shown.hasMaps = true; kovaFigures.apply() },
  frame({frame: told}) {
    shown.frame = told
    at("frame").value = told.id
    const level = {1: "MS1", 2: "MS/MS"}[told.ms_level]
    at("frame-facts").textContent = [level, told.time == null ? null : `${digits(told.time, 2)} s`,
      told.peaks >= 0 ? `${counts(told.peaks)} peaks` : null].filter(Boolean).join(" \u00b7 ")
  },
  drawn({form, peaks}) {
    at("drawn").textContent = form == "peaks" ? `${counts(peaks)} peaks, drawn one by one` : `${counts(peaks)} peaks in view`
  },
}
