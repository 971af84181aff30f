// Figures that the session draws again: when they have been zoomed, or have another size.

import {at} from "./dom.js"
import {send} from "./link.js"
import {shown} from "./shown.js"

const redrawn = {frame_map: "frame.zoom", run_mz: "maps.zoom", run_mobility: "maps.zoom", box_spectrum: "box.zoom", msms: "precursor.zoom"}
const pause = {frame_map: 20, box_spectrum: 20, msms: 20, run_mz: 300, run_mobility: 300}
export const sized = ["chromatogram", "frame_map", "frame_spectrum"]  // whose drawing depends on their size
const waiting = {}

export function inner(name) {
  const figure = kovaFigures.model(name), ratio = window.devicePixelRatio || 1
  return [Math.round((figure?.inner_width || 0) * ratio), Math.round((figure?.inner_height || 0) * ratio)]
}

// A figure that has been zoomed is drawn again by the session; while one drawing is under way, the last zoom waits.
export function watchZoom(name) {
  const figure = kovaFigures.model(name), state = waiting[name] = {timer: null, busy: false, again: false}
  const ask = () => {
    state.timer = null
    if (state.busy) { state.again = true; return }
    const [width, height] = inner(name)
    if (!width || !height || (name.startsWith("run_") && !shown.hasMaps)) return
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

// On a narrow screen there is no room for many labels, nor for aligning figures of different kinds.
export function fit(name) {
  if (innerWidth > 700) return
  const figure = kovaFigures.model(name)
  if (name == "chromatogram" || name == "frame_spectrum") figure.setv({min_border_right: 14}, {sync: false})
  for (const {ticker} of figure.below) ticker.setv({desired_num_ticks: Math.min(ticker.desired_num_ticks, 4)}, {sync: false})
}

// A figure that the session has added.
function place(name) {
  fit(name)
  kovaFigures.apply()
  if (name in redrawn) watchZoom(name)
  if (name == "frame_spectrum") watchSpectrum()
}

function drawn(name) {
  const state = waiting[name]
  state.busy = false
  if (state.again) { state.again = false; state.ask() }
}

// After another run has been opened, no drawing is under way.
export function forget() {
  for (const state of Object.values(waiting)) state.again = state.busy = false
}

// Analyses without mobility have no map; their spectrum is drawn again in its place.
export function watchSpectrum() {
  const figure = kovaFigures.model("frame_spectrum")
  let timer = null
  const ask = () => {
    timer = null
    if (shown.kind.mobility !== false) return
    const [width, height] = inner("frame_spectrum")
    send("frame.zoom", {x: [figure.x_range.start, figure.x_range.end], width, height})
  }
  for (const property of [figure.x_range.properties.start, figure.x_range.properties.end, figure.properties.inner_width]) {
    property.change.connect(() => { clearTimeout(timer); timer = setTimeout(ask, 20) })
  }
}

export function watchSize(name) {
  const figure = kovaFigures.model(name)
  const tell = () => { const [width, height] = inner(name); send("chromatogram.size", {width, height}) }
  figure.properties.inner_width.change.connect(tell)
  tell()
}

// Before there are figures, what their canvases leave for the data.
export function expected(name) {
  const canvas = at(`chart-${name}`).querySelector(".canvas"), ratio = window.devicePixelRatio || 1
  return [Math.round((canvas.clientWidth - 140) * ratio), Math.round((canvas.clientHeight - 88) * ratio)]
}

export const replies = {
  placed({figures}) { figures.forEach(place) },
  zoomed() { drawn("frame_map") },
  ready() { kovaFigures.apply() },
  dress() { kovaFigures.apply() },
}
