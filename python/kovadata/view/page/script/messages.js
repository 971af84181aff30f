// Messages, and the progress of long calls.

import {all, at, element} from "./dom.js"
import {send} from "./link.js"

// A message takes the place of the one that has the same key.
export function tell({text, key}) {
  all(".message").filter((one) => key && one.dataset.key == key).forEach((one) => one.remove())
  if (!text) return
  const shown = element("div", {attributes: {class: "message", "data-key": key}, children: [element("span", {text})]})
  shown.append(element("button", {text: "Dismiss", attributes: {type: "button"}, on: {click: () => shown.remove()}}))
  at("messages").append(shown)
}

export const replies = {
  message: tell,
  progress({name, title, done, total}) {
    let job = all(".job").find((one) => one.dataset.name == name)
    if (!total) { job?.remove(); return }
    if (!job) {
      job = element("div", {attributes: {class: "job", "data-name": name}, children: [element("span"),
        element("progress", {attributes: {"aria-label": title}}),
        element("button", {text: "Cancel", attributes: {type: "button"}, on: {click: () => send("cancel", {name})}})]})
      at("jobs").append(job)
    }
    job.querySelector("span").textContent = title
    const bar = job.querySelector("progress")
    bar.max = total
    if (done) bar.value = done
  },
}
