// What the run says of itself.

import {counts, digits, element, fill, row} from "./dom.js"

export const replies = {
  about({facts, metadata, calibrations}) {
    const pairs = (list) => list.map(([name, value]) => element("tr", {children: [element("th", {text: name, attributes: {scope: "row"}}), element("td", {text: value})]}))
    fill("fact-table", pairs(facts))
    fill("metadata-table", pairs(metadata))
    const range = (ends, count) => ends && ends[0] != null ? `${digits(Math.min(...ends), count)} \u2013 ${digits(Math.max(...ends), count)}` : "not calibrated"
    const number = (id) => ({text: id < 0 ? "not stated" : String(id), attributes: {class: "number"}})
    fill("calibration-table", calibrations.map((one) => row([number(one.mz), number(one.mobility), counts(one.frames),
      one.error ?? range(one.mz_ends, 2), range(one.mobility_ends, 4)])))
  },
}
