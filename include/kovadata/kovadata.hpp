/**
 * @file kovadata.hpp
 * The functions of kova.h and kvs.h for C++20: handles that close themselves, failures as exceptions, arrays as spans.
 *
 * This header includes one header per topic: error.hpp, handle.hpp, array.hpp, frame.hpp, conversions.hpp, msms.hpp, analysis.hpp
 * and spectrum_analysis.hpp, each of which may be included alone.
 *
 * Everything in them is inline over the C functions and adds nothing to what they do; units, layouts and causes of failures are
 * described there. The library's binary interface stays the C one, so that compiler and standard library of a program may
 * differ from those that built the library.
 *
 *     kova::Analysis analysis("run.d");
 *     kova::Frame frame = analysis.readFrame(1, 0, analysis.countScans(1));
 *     for (const kova::Scan scan : frame) {
 *         use(scan.number, scan.indices, scan.intensities);
 *     }
 *
 * Conventions, valid for everything below:
 *
 *  1. **Errors.** A failure of the library is a kova::Error with the library's text. Misuse that only C++ can express, spans
 *     of unequal sizes for one, is a std::invalid_argument, std::length_error or std::out_of_range. Memory that cannot be had
 *     is a std::bad_alloc. After any of them objects are still usable; what they were to receive is unspecified.
 *  2. **Ownership.** An analysis owns its handle and closes it. Spans that a function takes are borrowed until it returns;
 *     spans that it returns say whose memory they look at. Views of a temporary Frame do not compile.
 *  3. **Memory.** Memory is taken only for what a call returns, or for an object that
 *     is handed over to be filled and is too small (Frame, Array, LineSpectrum), which keeps it for the next call.
 *  4. **Threads.** One analysis must not be used by two threads at the same time; its functions are therefore not const.
 *     Different analyses may be. For parallel reading open one analysis per thread.
 *  5. **Moving.** Analyses can be moved, not copied. One that was moved from may only be destroyed or assigned to.
 *  6. **Text** is UTF-8.
 */
#ifndef KOVADATA_KOVADATA_HPP
#define KOVADATA_KOVADATA_HPP

#if __cplusplus < 202002L
#error "kovadata.hpp needs C++20; kova.h and kvs.h do for earlier standards."
#else  // so that this is all that the compiler says

#include "analysis.hpp"
#include "array.hpp"
#include "conversions.hpp"
#include "error.hpp"
#include "frame.hpp"
#include "handle.hpp"
#include "msms.hpp"
#include "spectrum_analysis.hpp"

/** @defgroup cpp_values Values
 *
 *  @defgroup cpp_analysis Analyses with ion mobility
 *
 *  @defgroup cpp_spectra Analyses without ion mobility
 */

#endif
#endif
