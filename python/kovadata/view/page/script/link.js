// Commands of the page go out, replies of the session come in.

let link = null, number = 0

export function send(what, values = {}) {
  if (link) link.command = {do: what, number: ++number, ...values}
}

// From now on `replies` has, by what is replied, the function to call.
export function connect(model, replies) {
  link = model
  link.properties.reply.change.connect(() => {
    const told = plain(link.reply), isList = told.what == "all"
    for (const one of isList ? told.replies : [told]) replies[one.what]?.(one)
    // What is not seen at once comes after the screen has shown what there is.
    if (isList) requestAnimationFrame(() => requestAnimationFrame(() => send("more")))
  })
}

function plain(value) {
  if (value instanceof Map) return Object.fromEntries([...value].map(([name, one]) => [name, plain(one)]))
  if (Array.isArray(value)) return value.map(plain)
  if (value != null && value.constructor == Object) return Object.fromEntries(Object.entries(value).map(([name, one]) => [name, plain(one)]))
  return value
}
