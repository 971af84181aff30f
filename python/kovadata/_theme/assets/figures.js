// What every page with figures needs: the colours of its theme, and figures as files. Works with a server and without.
"use strict"
const kovaFigures = (() => {
  const themes = __THEMES__
  const kept = "kova-theme"

  // Models that have colours say which roles these have: {roles: {line_color: "blue"}} among their tags.
  function dress(model, theme) {
    for (const tag of model.tags ?? []) {
      const roles = tag instanceof Map ? tag.get("roles") : tag.roles
      if (!roles) continue
      for (const [property, role] of roles instanceof Map ? roles : Object.entries(roles)) {
        const colour = theme[role]
        const is = model[property]
        // Of glyphs, a colour may be a value or a field; only values have roles.
        const isSpec = is != null && typeof is == "object" && !Array.isArray(is) && "value" in is
        model.setv({[property]: isSpec ? {value: colour} : colour}, {sync: false})  // a server's models stay as they are
      }
    }
  }

  function chosen() {
    let theme = null
    try { theme = localStorage.getItem(kept) } catch { /* pages of files may have no storage */ }
    if (theme == "light" || theme == "dark") return theme
    return matchMedia("(prefers-color-scheme: dark)").matches ? "dark" : "light"
  }

  // Gives the page and the figures of all documents the colours of a theme.
  function apply(name = chosen()) {
    document.documentElement.dataset.theme = name
    for (const one of window.Bokeh?.documents ?? []) {
      for (const model of one.all_models) dress(model, themes[name])
    }
  }

  function choose(name) {
    try { localStorage.setItem(kept, name) } catch { /* only for this page, then */ }
    apply(name)
  }

  function model(name) {
    for (const one of window.Bokeh?.documents ?? []) {
      const found = one.get_model_by_name(name)
      if (found) return found
    }
    return null
  }

  function view(name) {
    const found = model(name)
    return found == null ? null : Bokeh.index.find_one(found)
  }

  function save(blob, fileName) {
    const link = document.createElement("a")
    link.href = URL.createObjectURL(blob)
    link.download = fileName
    link.click()
    setTimeout(() => URL.revokeObjectURL(link.href), 60000)
  }

  // Saves a figure as "png" or "svg", on the background of the page.
  async function savePicture(name, kind, fileName = `${name}.${kind}`) {
    const figure = model(name)
    const before = [figure.background_fill_color, figure.border_fill_color]
    const page = themes[document.documentElement.dataset.theme ?? "light"].page
    figure.setv({background_fill_color: page, border_fill_color: page}, {sync: false})
    try {
      save(await view(name).export(kind).to_blob(), fileName)
    } finally {
      figure.setv({background_fill_color: before[0], border_fill_color: before[1]}, {sync: false})
    }
  }

  // Saves columns of a data source as CSV, numbers with all their digits.
  function saveColumns(source, columns, fileName) {
    const values = columns.map((column) => source.data[column] ?? [])
    const lines = [columns.join(",")]
    for (let row = 0; row < (values[0]?.length ?? 0); ++row) lines.push(values.map((one) => one[row]).join(","))
    save(new Blob([lines.join("\n"), "\n"], {type: "text/csv"}), fileName)
  }

  matchMedia("(prefers-color-scheme: dark)").addEventListener("change", () => apply())
  document.documentElement.dataset.theme = chosen()
  return {apply, choose, chosen, dress, model, view, save, savePicture, saveColumns, themes}
})()
