// Elements of the page, found or made, and numbers in the forms in which it shows and takes them.

export const at = (id) => document.getElementById(id)
export const all = (selector, root = document) => [...root.querySelectorAll(selector)]
export const digits = (value, count) => value == null ? "" : Number(value).toFixed(count).replace(/^-(0(\.0*)?)$/, "$1")
export const counts = (value) => value == null ? "" : String(Math.round(value)).replace(/\B(?=(\d{3})+$)/g, ",")

export function element(name, {text, attributes = {}, on = {}, children = []} = {}) {
  const made = document.createElement(name)
  if (text != null) made.textContent = text
  for (const [key, value] of Object.entries(attributes)) if (value != null && value !== false) made.setAttribute(key, value)
  for (const [key, value] of Object.entries(on)) made.addEventListener(key, value)
  made.append(...children)
  return made
}

export function row(cells, attributes = {}) {
  return element("tr", {attributes, children: cells.map((cell) => cell instanceof Node ? cell
    : element("td", typeof cell == "object" ? cell : {text: cell, attributes: {class: /^[\d.,\u2212 %-]+$/.test(cell) ? "number" : null}}))})
}

export function fill(table, rows) {
  at(table).querySelector("tbody").replaceChildren(...rows)
}

// Of pairs of fields `name0`, `name1`, those in which something stands.
export function ranges(form, names) {
  const found = {}
  for (const name of names) {
    const ends = [0, 1].map((end) => form.elements[name + end].value).map((value) => value === "" ? null : Number(value))
    if (ends.some((end) => end != null)) found[name] = ends
  }
  return found
}
