#include "convert/export/ChromeExporter.h"
#include "convert/export/ExportFormat.h"
#include "convert/export/Hdf5Exporter.h"
#include "convert/export/LinesExporter.h"
#include "convert/export/Otf2Exporter.h"
#include "convert/export/PerfettoExporter.h"
#include "convert/export/SqliteExporter.h"
#include "convert/export/VcdExporter.h"

namespace marrowfin {
namespace {

constexpr uint64_t ANY = ~uint64_t{0};

// Of formats whose readers take times with a sign; they have the cycle behind the last one too.
constexpr uint64_t SIGNED = (ANY >> 1) - 1;

}  // namespace

std::span<const ExportFormat> ExportFormats() {
  static constexpr ExportFormat formats[] = {
      {"csv", ".csv", "comma-separated values", ExportPlace::STREAM, false, false, ANY,
       MakeCsvExporter},
      {"jsonl", ".jsonl", "a JSON object a line", ExportPlace::STREAM, false, false, ANY,
       MakeJsonLinesExporter},
      {"chrome", ".json", "Chrome trace JSON", ExportPlace::STREAM, true, true, SIGNED,
       MakeChromeExporter},
      {"perfetto", ".pftrace", "Perfetto protobuf", ExportPlace::STREAM, true, true, SIGNED,
       MakePerfettoExporter},
      {"vcd", ".vcd", "value change dump, for waveform viewers", ExportPlace::STREAM, true, true,
       SIGNED, MakeVcdExporter},
      {"hdf5", ".h5", "HDF5 columns, for NumPy, MATLAB and Julia", ExportPlace::FILE, false, false,
       ANY, MakeHdf5Exporter},
      {"sqlite", ".sqlite", "SQLite database", ExportPlace::FILE, false, false, ANY,
       MakeSqliteExporter},
      {"otf2", ".otf2", "a folder in the Open Trace Format 2", ExportPlace::FOLDER, true, true,
       ANY - 1, MakeOtf2Exporter, IsOtf2Archive},
  };
  return formats;
}

const ExportFormat* ExportFormatOf(const std::string& fileName) {
  for (const ExportFormat& format : ExportFormats()) {
    if (fileName.ends_with(format.ending)) {
      return &format;
    }
  }
  return nullptr;
}

}  // namespace marrowfin
