// Keys in figures, which move and zoom them, and keys of the page, which go from frame to frame.

import {boxFromView} from "./boxes.js"
import {all} from "./dom.js"
import {send} from "./link.js"

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

// Arrow keys go from frame to frame wherever nothing else takes them.
function stepByKeys(event) {
  const by = {ArrowLeft: -1, ArrowRight: 1}[event.key]
  const isTaken = event.target.closest?.("input, select, textarea, dialog, [role=tablist], pre, summary") ||
    (event.target.closest?.(".canvas") && !event.target.closest("#chart-chromatogram"))
  if (!by || isTaken || event.ctrlKey || event.metaKey || event.altKey) return
  send("step", {by, level: event.shiftKey})
  event.preventDefault()
}

export function listen() {
  for (const chart of all(".chart")) {
    chart.querySelector(".canvas").addEventListener("keydown", (event) => figureKey(event, chart.dataset.chart))
  }
  document.addEventListener("keydown", stepByKeys)
}
