#pragma once

namespace kova_tool {

enum class OutputFormat { text, csv, json };

}  // namespace kova_tool
