// The table of boxes, and the forms that make, load and save them.

import {all, at, counts, digits, element, fill, ranges, row} from "./dom.js"
import {send} from "./link.js"
import {tell} from "./messages.js"
import {shown} from "./shown.js"
import {openTab} from "./tabs.js"

export function boxFromView(name = "frame_map") {
  const {x_range: x, y_range: y} = kovaFigures.model(name)
  const ends = {x: [x.start, x.end], y: [y.start, y.end]}
  const {kind, frame} = shown
  const unit = kind.label.includes("min") ? 60 : 1, time = ends.x.map((end) => end * unit)
  const level = frame?.ms_level
  if (name == "frame_map") send("box", kind.mobility_calibration ? {level, mz: ends.x, mobility: ends.y} : {level, mz: ends.x})
  else send("box", name == "run_mz" ? {time, mz: ends.y} : {time, mobility: ends.y})
  openTab("tab-boxes")
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

export function listen() {
  at("box-form").addEventListener("submit", (event) => {
    event.preventDefault()
    send("box", ranges(event.target, ["mz", "mobility", "time"]))
  })
  at("box-file").addEventListener("change", async (event) => {
    const [file] = event.target.files
    if (file && file.size > 4e6) tell({text: "The file is larger than 4 MB.", key: "file"})
    else if (file) send("box.load", {text: await file.text()})
    event.target.value = ""
  })
  at("box-save").addEventListener("click", () => send("box.save"))
  at("box-from-view").addEventListener("click", () => boxFromView())
  at("whole").addEventListener("click", () => send("frame.whole"))
}

export const replies = {
  boxes({boxes: told, chosen}) {
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
}
