// Both forms carry the same fields in the same order. Seconds are printed to the millisecond, the
// clock's resolution; counts in full, without separators, so that scripts read them as numbers.
#include "cli/cli_summary.hpp"

#include <cstdio>

namespace zx {
namespace {

std::string Seconds(double seconds) {
  char text[32];
  std::snprintf(text, sizeof text, "%.3f", seconds);
  return text;
}

// The stages in order; a verify run has all of them, a plain run only compute and the writers.
struct Stage {
  const char* name;
  double seconds;
};

std::vector<Stage> Stages(const RunSummary& summary) {
  const RunReport& report = summary.report;
  std::vector<Stage> stages = {{"compute", report.computeSeconds}};
  if (!summary.verifyAlgorithm.empty()) stages.push_back({"verify_compute", report.verifyComputeSeconds});
  stages.push_back({"write_hex", report.hexSeconds});
  stages.push_back({"convert_and_write_decimal", report.decimalSeconds});
  if (!summary.verifyAlgorithm.empty()) stages.push_back({"compare", report.compareSeconds});
  stages.push_back({"total", report.totalSeconds});
  return stages;
}

const char* VerifyResult(const RunSummary& summary) {
  if (summary.verifyAlgorithm.empty()) return "not run";
  return summary.passed ? "passed" : "failed";
}

}  // namespace

std::string JsonQuote(std::string_view s) {
  std::string quoted = "\"";
  for (const char c : s) {
    switch (c) {
      case '"':
        quoted += "\\\"";
        break;
      case '\\':
        quoted += "\\\\";
        break;
      case '\n':
        quoted += "\\n";
        break;
      case '\t':
        quoted += "\\t";
        break;
      case '\r':
        quoted += "\\r";
        break;
      default:
        if (static_cast<unsigned char>(c) < 0x20) {
          char escaped[8];
          std::snprintf(escaped, sizeof escaped, "\\u%04x", static_cast<unsigned>(c));
          quoted += escaped;
        } else {
          quoted += c;
        }
    }
  }
  return quoted + "\"";
}

std::string SummaryText(const RunSummary& summary) {
  std::string text = "constant: " + summary.constant + "\n";
  text += "algorithm: " + summary.algorithm + "\n";
  if (!summary.verifyAlgorithm.empty()) text += "verify algorithm: " + summary.verifyAlgorithm + "\n";
  text += "decimal digits: " + std::to_string(summary.decimalDigits) + "\n";
  text += "hexadecimal digits: " + std::to_string(summary.hexDigits) + "\n";
  text += "threads: " + std::to_string(summary.threads) + "\n";
  text += summary.swapDirectories.empty() ? "mode: ram\n" : "mode: swap\n";
  for (const std::string& directory : summary.swapDirectories) text += "swap: " + directory + "\n";
  for (const Stage& stage : Stages(summary)) {
    text += std::string("seconds ") + stage.name + ": " + Seconds(stage.seconds) + "\n";
  }
  text += "reserved bytes: " + std::to_string(summary.reservedBytes) + "\n";
  text += "peak bytes: " + std::to_string(summary.report.peakBytes) + "\n";
  // sha256sum's layout, so the lines after "file: " can be fed to sha256sum --check.
  for (const SummaryFile& file : summary.files) text += "file: " + file.sha256 + "  " + file.path + "\n";
  text += std::string("verify: ") + VerifyResult(summary) + "\n";
  return text;
}

std::string SummaryJson(const RunSummary& summary) {
  std::string json = "{\"constant\": " + JsonQuote(summary.constant);
  json += ", \"algorithm\": " + JsonQuote(summary.algorithm);
  json += ", \"verify_algorithm\": " +
          (summary.verifyAlgorithm.empty() ? "null" : JsonQuote(summary.verifyAlgorithm));
  json += ", \"decimal_digits\": " + std::to_string(summary.decimalDigits);
  json += ", \"hexadecimal_digits\": " + std::to_string(summary.hexDigits);
  json += ", \"threads\": " + std::to_string(summary.threads);
  json += std::string(", \"mode\": ") + (summary.swapDirectories.empty() ? "\"ram\"" : "\"swap\"");
  json += ", \"swap\": [";
  for (size_t i = 0; i < summary.swapDirectories.size(); ++i) {
    json += (i == 0 ? "" : ", ") + JsonQuote(summary.swapDirectories[i]);
  }
  json += "], \"seconds\": {";
  const std::vector<Stage> stages = Stages(summary);
  for (size_t i = 0; i < stages.size(); ++i) {
    json += (i == 0 ? "\"" : ", \"") + std::string(stages[i].name) + "\": " + Seconds(stages[i].seconds);
  }
  json += "}, \"reserved_bytes\": " + std::to_string(summary.reservedBytes);
  json += ", \"peak_bytes\": " + std::to_string(summary.report.peakBytes);
  json += ", \"files\": [";
  for (size_t i = 0; i < summary.files.size(); ++i) {
    json += std::string(i == 0 ? "" : ", ") + "{\"path\": " + JsonQuote(summary.files[i].path) +
            ", \"sha256\": " + JsonQuote(summary.files[i].sha256) + "}";
  }
  json += std::string("], \"verify\": \"") + VerifyResult(summary) + "\"}\n";
  return json;
}

}  // namespace zx
