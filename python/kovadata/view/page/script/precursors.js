// The table of precursors, its order and filters, and what is known of the one that is chosen.

import {all, at, counts, digits, element, fill, ranges, row} from "./dom.js"
import {send} from "./link.js"
import {openTab} from "./tabs.js"

const precursors = {sort: "id", down: false, first: 0}

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

export function listen() {
  makePrecursorHead()
  let timer = null
  at("filter-form").addEventListener("input", () => { clearTimeout(timer); timer = setTimeout(() => { precursors.first = 0; listPrecursors() }, 150) })
  at("filter-form").addEventListener("submit", (event) => event.preventDefault())
  at("page-back").addEventListener("click", () => { precursors.first -= precursors.page; listPrecursors() })
  at("page-on").addEventListener("click", () => { precursors.first += precursors.page; listPrecursors() })
}

export const replies = {
  precursors(told) {
    Object.assign(precursors, {first: told.first, page: told.page ?? 50, found: told.found})
    fill("precursor-table", told.rows.map((one) => precursorRow(one, told.chosen)))
    const last = Math.min(told.first + told.rows.length, told.found)
    at("page-text").textContent = told.found ? `${counts(told.first + 1)} \u2013 ${counts(last)} of ${counts(told.found)}` +
      (told.found < told.total ? `, ${counts(told.total)} without filters` : "") : told.total ? "none fits the filters" : "this run has no precursors"
    for (const one of [at("filter-form"), at("precursor-table").parentElement, at("page-back"), at("page-on")]) one.hidden = !told.total
    at("page-back").disabled = told.first == 0
    at("page-on").disabled = last >= told.found
  },
  precursor({precursor: told, isolations}) {
    for (const one of all("#precursors .chart")) one.hidden = told == null
    at("precursor-facts").replaceChildren(...(told == null ? [] : precursorFacts(told, isolations)))
    for (const one of all("#precursor-table tbody tr")) one.classList.toggle("chosen", told != null && one.dataset.id == told.id)
  },
}
