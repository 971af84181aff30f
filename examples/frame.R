# Prints the strongest peak of a frame and of the MS/MS spectra of the precursors that were selected in it.
#
#     PKG_CPPFLAGS=$(pkg-config --cflags kovadata) PKG_LIBS=$(pkg-config --libs kovadata) R CMD SHLIB kova_r.c
#     Rscript frame.R run.d 1 900        (frame 1 of 900 scans, see `kova frames run.d`)

arguments <- commandArgs(trailingOnly = TRUE)
if (length(arguments) != 3) stop("frame.R RUN FRAME SCANS")
frame <- as.numeric(arguments[2])
scans <- as.integer(arguments[3])
dyn.load("kova_r.so")

analysis <- .Call("r_open", arguments[1])  # closed when nothing refers to it any more
words <- .Call("r_scans", analysis, frame, scans)

# Counts of the scans come first, then the peaks of each scan: all its indices, all its intensities.
count <- words[seq_len(scans)]
scan_of <- rep(seq_len(scans) - 1, 2 * count)
is_intensity <- unlist(lapply(count, function(n) rep(c(FALSE, TRUE), each = n)))
peaks <- words[-seq_len(scans)]
index <- peaks[!is_intensity]
intensity <- peaks[is_intensity]
scan <- scan_of[is_intensity]

best <- which.max(intensity)
cat(sprintf("intensity %.0f, m/z %.4f\n", intensity[best], .Call("r_convert", analysis, frame, "index", index[best])))
cat(sprintf("1/K0 %.4f\n", .Call("r_convert", analysis, frame, "scan", scan[best])))
invisible(.Call("r_print_msms", analysis, frame))
