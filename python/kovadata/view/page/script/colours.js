// The range of intensities that the colours of a map stand for.

import {all} from "./dom.js"

const colours = {}

function applyColours(name) {
  const mapper = kovaFigures.model(`${name}_colours`), range = colours[name]
  const box = all("[data-colours]").find((one) => one.dataset.colours.split(" ").includes(name))
  if (!mapper || !range || !box) return
  const part = (end) => Number(box.querySelector(`[data-end=${end}]`).value) / 100
  const value = (share) => share == 1 ? range.high : range.low * (range.high / range.low) ** share
  const low = Math.min(part("low"), part("high") - 0.02)
  mapper.setv({low: value(Math.max(low, 0)), high: value(Math.max(part("high"), 0.02))})
}

export function listen() {
  for (const box of all("[data-colours]")) {
    box.addEventListener("input", () => box.dataset.colours.split(" ").forEach(applyColours))
  }
}

export const replies = {
  colours({figure, low, high}) {
    colours[figure] = {low, high}
    applyColours(figure)
  },
}
