// What is at the pointer, once it rests on the map of the frame.

import {at, counts, digits, element} from "./dom.js"
import {send} from "./link.js"

export function watchPointer() {
  const figure = kovaFigures.model("frame_map"), canvas = at("chart-frame_map").querySelector(".canvas")
  let timer = null
  canvas.addEventListener("pointermove", (event) => {
    clearTimeout(timer)
    timer = setTimeout(() => {
      const view = kovaFigures.view("frame_map")
      const place = view.canvas_view?.el.getBoundingClientRect() ?? canvas.getBoundingClientRect()
      const box = view.frame.bbox, x = event.clientX - place.left, y = event.clientY - place.top
      if (x < box.left || x > box.right || y < box.top || y > box.bottom) return
      const [xs, ys] = [figure.x_range, figure.y_range]
      const dx = (xs.end - xs.start) / box.width, dy = (ys.end - ys.start) / box.height
      send("frame.peak", {x: xs.start + (x - box.left) * dx, y: ys.end - (y - box.top) * dy, dx, dy})
    }, 60)
  })
}

export const replies = {
  peak({peak}) {
    const facts = peak == null ? [["", "no peak here"]] : [["m/z", digits(peak.mz, 5)], ["1/K\u2080", digits(peak.one_over_k0, 5)],
      ["scan", peak.scan], ["index", peak.index], ["intensity", counts(peak.intensity)]].filter(([, value]) => value !== "")
    at("readout").replaceChildren(...facts.flatMap(([name, value]) => [element("dt", {text: name}), element("dd", {text: value})]))
  },
}
