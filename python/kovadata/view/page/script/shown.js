// What the page shows, as far as several of its parts want to know: the run, whether its maps are drawn, the frame.

export const shown = {kind: {}, hasMaps: false, frame: null}
