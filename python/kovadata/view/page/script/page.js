// The page begins: it asks for its figures, and gives what the session replies to its parts.

import * as about from "./about.js"
import * as boxes from "./boxes.js"
import * as calibrations from "./calibrations.js"
import * as colours from "./colours.js"
import {all, at} from "./dom.js"
import * as drawing from "./drawing.js"
import * as keys from "./keys.js"
import {connect, send} from "./link.js"
import * as messages from "./messages.js"
import * as pointer from "./pointer.js"
import * as precursors from "./precursors.js"
import * as run from "./run.js"
import * as saving from "./saving.js"
import * as tabs from "./tabs.js"

// Each may have `replies`, functions by the name of a reply, and `listen`, which connects its controls.
const parts = [about, boxes, calibrations, colours, drawing, keys, messages, pointer, precursors, run, saving, tabs]

function listenToPage() {
  const root = document.documentElement
  const nameTheme = () => { at("theme").textContent = root.dataset.theme == "dark" ? "Light" : "Dark" }
  at("theme").addEventListener("click", () => { kovaFigures.choose(root.dataset.theme == "dark" ? "light" : "dark"); nameTheme() })
  new MutationObserver(nameTheme).observe(root, {attributeFilter: ["data-theme"]})
  nameTheme()
  at("show-keys").addEventListener("click", () => at("keys").showModal())
  for (const one of all("[data-close]")) one.addEventListener("click", () => one.closest("dialog").close())
}

// At every drawing, figures ask the browser for its styles: whether they override the colour of each label, and for the size
// of the font. That takes half of a drawing, and the answer is always the same.
function settleStyles() {
  const {VisualProperties} = Bokeh.require("core/visuals/visual"), {PlotView} = Bokeh.require("models/plots/plot_canvas")
  const size = parseFloat(getComputedStyle(document.body).fontSize)
  VisualProperties.prototype._get_css_value = () => ""
  Object.defineProperty(PlotView.prototype, "base_font_size", {get: () => size})
}

// Keys reach a figure in its place, which has a ring and a name. Its canvas is no second stop of the Tab key.
function settleStops() {
  const {prototype} = Bokeh.require("models/canvas/canvas").CanvasView, {initialize} = prototype
  prototype.initialize = function () {
    initialize.call(this)
    this.events_el.tabIndex = -1
  }
}

// Asks for the first figures while the browser still gets the script that draws them. They have their colours before they are
// drawn. Those that the session adds later are drawn in their places as well.
async function embed() {
  const sizes = Object.fromEntries(drawing.sized.map((name) => [name, drawing.expected(name)]))
  const script = new Promise((done) => { if (window.Bokeh) done(); else at("bokeh").addEventListener("load", done) })
  try {
    const told = await (await fetch(`begin?sizes=${encodeURIComponent(JSON.stringify(sizes))}`)).json()
    if (told.failure) throw new Error(told.failure)
    document.title = told.title
    await script
    settleStyles()
    settleStops()
    const {pull_session} = Bokeh.require("client/connection"), {_get_ws_url} = Bokeh.require("embed/server")
    const {document: figures} = await pull_session(_get_ws_url(), told.token, "")
    document.body.dataset.kind = told.replies.find(({what}) => what == "kind").mobility ? "mobility" : "spectra"
    for (const {name} of figures.roots()) if (name != "link") drawing.fit(name)
    kovaFigures.apply()
    const places = new Proxy([], {get: (_, place) => canvasOf(figures.roots()[place]?.name)})
    await Bokeh.embed.add_document_standalone(figures, at("link"), places)
    begin(figures, told.replies)
  } catch (error) {
    document.body.dataset.kind = "failed"
    messages.tell({text: error.message, key: "begin"})
  }
}

function canvasOf(name) {
  return at(`chart-${name}`)?.querySelector(".canvas") ?? at(name)
}

function begin(figures, told) {
  const hear = connect(kovaFigures.model("link"), Object.assign({}, ...parts.map((part) => part.replies)))
  told.forEach(hear)
  figures.on_event("connection_lost", () => { at("gone").hidden = false })
  figures.on_event("client_reconnected", () => { at("gone").hidden = true })
  drawing.watchZoom("frame_map")
  pointer.watchPointer()
  if (kovaFigures.model("frame_spectrum")) drawing.watchSpectrum()
  send("hello", {sizes: Object.fromEntries(drawing.sized.map((name) => [name, drawing.inner(name)]))})
  drawing.watchSize("chromatogram")
  // What is not seen at once comes after the screen has shown what there is.
  requestAnimationFrame(() => requestAnimationFrame(() => send("more")))
}

document.addEventListener("DOMContentLoaded", () => {
  saving.makeCharts()
  embed()
  listenToPage()
  for (const part of parts) part.listen?.()
})
