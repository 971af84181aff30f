# Prints the strongest peak of a frame and of the MS/MS spectra of the precursors that were selected in it, or the strongest line
# of a spectrum without ion mobility.
#
#     PKG_CPPFLAGS=$(pkg-config --cflags kovarun) PKG_LIBS=$(pkg-config --libs kovarun) R CMD SHLIB kova_r.c
#     Rscript frame.R run.d 1        (frame 1, see `kova frames run.d`)

arguments <- commandArgs(trailingOnly = TRUE)
if (length(arguments) != 2) stop("frame.R RUN FRAME")
frame <- as.numeric(arguments[2])
dyn.load("kova_r.so")

run <- .Call("r_open", arguments[1])  # closed when nothing refers to it any more
scans <- .Call("r_count_scans", run, frame)
if (is.na(scans)) {
  lines <- .Call("r_lines", run, frame)
  best <- which.max(lines[, 2])
  cat(sprintf("intensity %.0f, m/z %.4f\n", lines[best, 2], lines[best, 1]))
} else {
  words <- .Call("r_scans", run, frame, scans)

  # Counts of the scans come first, then the peaks of each scan: all its indices, all its intensities.
  count <- words[seq_len(scans)]
  scan_of <- rep(seq_len(scans) - 1, 2 * count)
  is_intensity <- unlist(lapply(count, function(n) rep(c(FALSE, TRUE), each = n)))
  peaks <- words[-seq_len(scans)]
  index <- peaks[!is_intensity]
  intensity <- peaks[is_intensity]
  scan <- scan_of[is_intensity]

  best <- which.max(intensity)
  cat(sprintf("intensity %.0f, m/z %.4f\n", intensity[best], .Call("r_convert", run, frame, "index", index[best])))
  mobility <- .Call("r_convert", run, frame, "scan", scan[best])
  cat(if (is.na(mobility)) sprintf("scan %.0f\n", scan[best]) else sprintf("1/K0 %.4f\n", mobility))
  invisible(.Call("r_print_msms", run, frame))
}
