// The theme button, pictures as files, and figures on paper, where they are pictures in light colours.
"use strict"
// Figures get their colours when they are there, which is some time after the page.
function dressFigures() {
  kovaFigures.apply()
  if (document.querySelector(".plot") && !window.Bokeh?.documents.length) requestAnimationFrame(dressFigures)
}

dressFigures()
document.querySelector("#theme").addEventListener("click", () =>
  kovaFigures.choose(document.documentElement.dataset.theme == "dark" ? "light" : "dark"))
document.addEventListener("click", (event) => {
  const {save, kind} = event.target.dataset ?? {}
  if (save) kovaFigures.savePicture(save, kind)
})

// The width that a figure has on paper, so that its letters are of the size of those around it.
const widths = {narrow: 480, wide: 1000}
let screenTheme = null

// The browser lays the printed page out at once: there is no time for figures to draw themselves later.
function beforePrint() {
  screenTheme ??= document.documentElement.dataset.theme
  kovaFigures.apply("light")
  for (const place of document.querySelectorAll(".plot[data-name]")) {
    const view = kovaFigures.view(place.dataset.name)
    if (view == null) continue
    view.model.toolbar.visible = false
    place.style.width = `${place.parentElement.classList.contains("narrow") ? widths.narrow : widths.wide}px`
    // Colours of lines and points come later by themselves.
    for (const drawn of view.renderer_views.values()) {
      for (const visual of drawn.visuals ?? []) visual.update()
      drawn.set_visuals?.()
    }
    view.after_resize()
    view.paint()
    const picture = place.querySelector("img") ?? place.appendChild(new Image())
    picture.alt = ""
    picture.src = view.export("png", true).canvas.toDataURL("image/png")
    place.classList.add("printed")
  }
}

function afterPrint() {
  for (const place of document.querySelectorAll(".plot.printed")) {
    place.classList.remove("printed")
    place.style.width = ""
    const view = kovaFigures.view(place.dataset.name)
    view.model.toolbar.visible = true
    view.after_resize()
  }
  if (screenTheme != null) kovaFigures.apply(screenTheme)
  screenTheme = null
}

addEventListener("beforeprint", beforePrint)
addEventListener("afterprint", afterPrint)
