// The menu of each figure, and what it saves.

import {all, at, element} from "./dom.js"
import {send} from "./link.js"
import {shown} from "./shown.js"

async function save(name, what) {
  if (what == "csv" || what == "code") { send(what, {figure: name}); return }
  const part = name.startsWith("frame_") && shown.frame ? `-${shown.frame.id}` : ""
  await kovaFigures.savePicture(name, what, `${shown.kind.name}-${name}${part}.${what}`)
}

// Every figure has a title, a menu and a canvas.
export function makeCharts() {
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

export function listen() {
  for (const chart of all(".chart")) {
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
  at("copy-code").addEventListener("click", async () => {
    await navigator.clipboard.writeText(at("code").querySelector("code").textContent)
    at("copy-code").textContent = "Copied"
    setTimeout(() => { at("copy-code").textContent = "Copy" }, 1500)
  })
  at("save-code").addEventListener("click", () => kovaFigures.save(new Blob([at("code").querySelector("code").textContent]), `${at("code").dataset.figure}.py`))
}

export const replies = {
  download({address, name}) {
    element("a", {attributes: {href: address, download: name}}).click()
  },
  code({text, figure}) {
    at("code").querySelector("code").textContent = text
    at("code").dataset.figure = figure
    at("code").showModal()
  },
}
