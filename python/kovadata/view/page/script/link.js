// Commands of the page go out, replies of the session come in.

let link = null, number = 0

export function send(what, values = {}) {
  if (link) link.command = {do: what, number: ++number, ...values}
}

// From now on `replies` has, by what is replied, the function to call. Gives a function that takes a reply.
export function connect(model, replies) {
  const hear = (told) => replies[told.what]?.(told)
  link = model
  link.properties.reply.change.connect(() => hear(plain(link.reply)))
  return hear
}

function plain(value) {
  if (value instanceof Map) return Object.fromEntries([...value].map(([name, one]) => [name, plain(one)]))
  if (Array.isArray(value)) return value.map(plain)
  if (value != null && value.constructor == Object) return Object.fromEntries(Object.entries(value).map(([name, one]) => [name, plain(one)]))
  return value
}
