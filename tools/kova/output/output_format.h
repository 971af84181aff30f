#pragma once

namespace kova_tool {

enum class OutputFormat { Text, Csv, Json };

}  // namespace kova_tool
