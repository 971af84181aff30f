// Tabs, by pointer and keys.

import {all, at} from "./dom.js"
import {expected} from "./drawing.js"
import {send} from "./link.js"

export function openTab(id, focus = false) {
  const tab = at(id), list = tab.closest("[role=tablist]")
  for (const other of all("[role=tab]", list)) {
    const chosen = other == tab
    other.setAttribute("aria-selected", chosen)
    other.tabIndex = chosen ? 0 : -1
    at(other.getAttribute("aria-controls")).hidden = !chosen
  }
  if (focus) tab.focus()
  // What these tabs show is made when they are first opened.
  if (id == "tab-precursors") send("precursors.open")
  if (id == "tab-view-run") {
    const [width, height] = expected("run_mz")
    send("maps", {width, height})
  }
}

export function listen() {
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
