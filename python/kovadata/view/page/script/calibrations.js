// States of the calibration: which is used, and by how much two differ.

import {at, counts, digits, element, fill, row} from "./dom.js"
import {send} from "./link.js"

export function listen() {
  at("calibration").addEventListener("change", () => send("calibration", {state: at("calibration").value}))
  at("ppm-form").addEventListener("submit", (event) => {
    event.preventDefault()
    send("ppm", {first: at("ppm-first").value, second: at("ppm-second").value})
  })
}

export const replies = {
  states({states, calibration, acquisition}) {
    const choices = [[acquisition, "of the acquisition"], ...states.map((one, place) => [`uuid:${one.key}`, `state ${place + 1}${one.source ? `, ${one.source}` : ""}`])]
    for (const id of ["calibration", "ppm-first", "ppm-second"]) {
      at(id).replaceChildren(...choices.map(([value, text]) => element("option", {text, attributes: {value}})))
    }
    at("calibration").value = calibration
    at("calibration-choice").hidden = !states.length
    if (choices.length > 1) at("ppm-second").value = choices.at(-1)[0]
    at("no-states").hidden = states.length > 0
    at("state-table").hidden = at("ppm-form").hidden = !states.length
    at("ppm-text").textContent = ""
    at("chart-ppm").hidden = true
    const mapped = (count, rest) => count > 0 ? `${counts(count)} frames` : rest
    fill("state-table", choices.map(([value, text], place) => row([text, place ? mapped(states[place - 1].mass_per_frame ? states[place - 1].mass_frames : 0, "by polarity") : "",
      place ? mapped(states[place - 1].mobility_frames, "\u2013") : "", element("td", {children: [element("button", {text: value == calibration ? "In use" : "Use",
        attributes: {type: "button", disabled: value == calibration}, on: {click: () => send("calibration", {state: value})}})]})])))
  },
  ppm({frame: of, largest}) {
    at("chart-ppm").hidden = false
    at("ppm-text").textContent = `At frame ${of}, up to ${digits(largest, 3)} ppm.`
  },
}
