// kestrav-record-benchmark: the throughput of the record file and of the backup archive.
//
//   kestrav-record-benchmark generate FILE --megabytes N   writes a contacts-like record file
//   kestrav-record-benchmark load FILE                     reads it back, with peak memory
//   kestrav-record-benchmark add FILE ARCHIVE              deflates it into a fresh archive, on
//                                                          every core
//
// Each command runs in its own process, so the peak resident memory "load" reports is Load's.
// MB is 10^6 bytes, MiB 2^20 bytes.
#include <sys/resource.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <array>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <random>
#include <stdexcept>
#include <string>
#include <string_view>
#include <thread>

#include "platform/host/host_device.h"
#include "platform/text.h"
#include "records/archive.h"
#include "records/record_file.h"

namespace {

using kestrav::platform::FromUtf8;
using kestrav::platform::ToUtf8;
using Clock = std::chrono::steady_clock;

// The header line of the file; its names are the columns of Contact().
constexpr std::string_view kHeader =
    "FirstName;MiddleName;LastName;Title;Suffix;Nickname;DisplayName;Company;Department;"
    "JobTitle;Office;Manager;AssistantName;AssistantPhone;BusinessPhone;BusinessPhone2;"
    "BusinessFax;HomePhone;HomePhone2;HomeFax;MobilePhone;OtherPhone;Pager;WorkMobile;"
    "CompanyPhone;Email;Email2;Email3;WebPage;Messenger;Messenger2;Messenger3;BusinessStreet;"
    "BusinessCity;BusinessRegion;BusinessPostCode;BusinessCountry;HomeStreet;HomeCity;"
    "HomeRegion;HomePostCode;HomeCountry;OtherStreet;OtherCity;OtherRegion;OtherPostCode;"
    "OtherCountry;Birthday;Anniversary;Spouse;Children;Categories;Account;CustomerNumber;"
    "GovernmentNumber;Tone;Private;LastModified;Notes;Picture";
constexpr std::size_t kColumnCount = std::ranges::count(kHeader, ';') + 1;
static_assert(kColumnCount == 60);

constexpr std::string_view kFirstNames[] = {
    "John",    "Mary",   "Zoë",  "محمد",     "Jürgen", "François", "Łukasz",  "Søren",
    "Chloé",   "José",   "Anna", "Анна",     "李娜",   "Siobhán",  "Ιωάννης", "Priya",
    "Hiroshi", "Fatima", "Olaf", "Elżbieta", "Noah",   "Emma",     "Liam",    "Ngọc"};
constexpr std::string_view kLastNames[] = {
    "Ångström", "Müller",  "O'Brien",      "García", "Kowalski", "Smith",  "Johnson",
    "أحمد",     "Петров",  "van der Berg", "Dvořák", "Nakamura", "Nguyễn", "Østergaard",
    "Brown",    "Lefèvre", "Papadopoulos", "Singh",  "Rossi",    "Schäfer"};
constexpr std::string_view kCompanies[] = {
    "Harbor Lights Ltd.", "Smith, Jones & Co.",   "Acme; Tools and Dies", "\"Best\" Widgets",
    "Meridian Foods",     "Nordisk Værktøj A/S",  "Café Zürich GmbH",     "شركة النور",
    "Kite & Anchor",      "Pinecrest Labs, Inc.", "Łódź Logistics",       "Alder Road Bakery"};
constexpr std::string_view kJobTitles[] = {"Engineer",
                                           "Sales Manager",
                                           "Director, Operations",
                                           "Accountant",
                                           "Chef de cuisine",
                                           "Nurse",
                                           "Developer",
                                           "Head of \"Special\" Projects",
                                           "Consultant; Europe"};
constexpr std::string_view kCities[] = {"Seattle", "München", "Kraków", "São Paulo", "Reykjavík",
                                        "القاهرة", "Москва",  "Paris",  "Tokyo",     "Dublin"};
constexpr std::string_view kCountries[] = {"USA", "Deutschland", "Polska", "Brasil", "Ísland",
                                           "مصر", "Россия",      "France", "日本",   "Ireland"};
constexpr std::string_view kStreets[] = {"Main St",        "Rue de l'Église",  "Königsallee",
                                         "ul. Floriańska", "Avenida Paulista", "Laugavegur",
                                         "Baker Street",   "Nørrebrogade"};
constexpr std::string_view kDomains[] = {"example.com", "mail.example.org", "example.net",
                                         "post.example.com"};
constexpr std::string_view kCategories[] = {"Business",        "Personal",      "Business, VIP",
                                            "Friends; Family", "Holiday cards", "Suppliers"};
constexpr std::string_view kNoteLines[] = {"Met at the trade fair.",
                                           "Prefers calls after 10:00; never on Sundays.",
                                           "Said \"call me back\" next week",
                                           "Allergies: nuts, shellfish",
                                           "Gift ideas: books, tea, Ångström's memoir",
                                           "Lives next to the café",
                                           "Ask about the project in Kraków",
                                           "Ruft zurück, sobald der Vertrag unterschrieben ist.",
                                           "يفضل البريد الإلكتروني"};

// Deterministic values drawn from the lists above.
class Generator {
 public:
  bool Chance(unsigned percent) { return Below(100) < percent; }
  unsigned Below(unsigned bound) {
    return std::uniform_int_distribution<unsigned>(0, bound - 1)(random_);
  }

  template <std::size_t N>
  std::string Pick(const std::string_view (&list)[N]) {
    return std::string(list[Below(N)]);
  }

  std::string Digits(unsigned count) {
    std::string digits;
    for (unsigned i = 0; i < count; ++i) digits += static_cast<char>('0' + Below(10));
    return digits;
  }

  std::string Phone() {
    switch (Below(3)) {
      case 0:
        return "+1 (" + Digits(3) + ") 555-" + Digits(4);
      case 1:
        return "+44 20 " + Digits(4) + " " + Digits(4);
      default:
        return "+49 30 " + Digits(6);
    }
  }

  std::string Date() {
    return std::to_string(1940 + Below(70)) + "-" + Two(1 + Below(12)) + "-" + Two(1 + Below(28));
  }

  std::string Street() {
    std::string street = std::to_string(1 + Below(300)) + " " + Pick(kStreets);
    if (Chance(20)) street = "Suite " + std::to_string(100 + Below(900)) + "\r\n" + street;
    return street;
  }

  std::string Notes() {
    std::string notes = Pick(kNoteLines);
    for (unsigned lines = Below(4); lines > 0; --lines) notes += "\r\n" + Pick(kNoteLines);
    return notes;
  }

  std::string Picture() {
    static constexpr char kHex[] = "0123456789abcdef";
    std::string picture;
    for (unsigned count = 200 + Below(400); count > 0; --count) {
      const unsigned byte = Below(256);
      picture += picture.empty() ? "0x" : ",0x";
      picture += kHex[byte >> 4];
      picture += kHex[byte & 15];
    }
    return picture;
  }

  kestrav::records::RecordValues Contact() {
    std::array<std::string, kColumnCount> v;  // v[i] is the value of the i-th column
    const std::string first = Pick(kFirstNames);
    const std::string last = Pick(kLastNames);
    const std::string mailbox = "user" + Digits(5);
    v[0] = first;
    if (Chance(15)) v[1] = Pick(kFirstNames);
    v[2] = last;
    if (Chance(20)) v[3] = Chance(50) ? "Dr." : "Ms.";
    if (Chance(5)) v[4] = "Jr.";
    if (Chance(10)) v[5] = Pick(kFirstNames);
    v[6] = last + ", " + first;
    if (Chance(70)) {
      v[7] = Pick(kCompanies);
      if (Chance(50)) v[8] = "Sales";
      v[9] = Pick(kJobTitles);
      if (Chance(30)) v[10] = "Building " + std::to_string(1 + Below(40));
      if (Chance(10)) v[11] = Pick(kFirstNames) + " " + Pick(kLastNames);
      if (Chance(5)) {
        v[12] = Pick(kFirstNames);
        v[13] = Phone();
      }
      v[14] = Phone();
      if (Chance(20)) v[15] = Phone();
      if (Chance(15)) v[16] = Phone();
      if (Chance(10)) v[24] = Phone();
      v[32] = Street();
      v[33] = Pick(kCities);
      if (Chance(50)) v[34] = "WA";
      v[35] = Digits(5);
      v[36] = Pick(kCountries);
    }
    if (Chance(60)) v[17] = Phone();
    if (Chance(5)) v[18] = Phone();
    if (Chance(5)) v[19] = Phone();
    if (Chance(80)) v[20] = Phone();
    if (Chance(3)) v[21] = Phone();
    if (Chance(2)) v[22] = Phone();
    if (Chance(1)) v[23] = Phone();
    v[25] = mailbox + "@" + Pick(kDomains);
    if (Chance(30)) v[26] = "home." + mailbox + "@" + Pick(kDomains);
    if (Chance(5)) v[27] = "old." + mailbox + "@" + Pick(kDomains);
    if (Chance(20)) v[28] = "https://www." + Pick(kDomains) + "/" + mailbox;
    if (Chance(15)) v[29] = mailbox + "@chat." + Pick(kDomains);
    if (Chance(50)) {
      v[37] = Street();
      v[38] = Pick(kCities);
      v[40] = Digits(5);
      v[41] = Pick(kCountries);
    }
    if (Chance(5)) {
      v[42] = Street();
      v[43] = Pick(kCities);
      v[46] = Pick(kCountries);
    }
    if (Chance(40)) v[47] = Date();
    if (Chance(10)) v[48] = Date();
    if (Chance(15)) v[49] = Pick(kFirstNames);
    if (Chance(10)) v[50] = Pick(kFirstNames) + ", " + Pick(kFirstNames);
    if (Chance(50)) v[51] = Pick(kCategories);
    if (Chance(10)) v[52] = Digits(8);
    if (Chance(5)) v[53] = "C-" + Digits(6);
    if (Chance(2)) v[54] = Digits(9);
    if (Chance(10)) v[55] = "Chime " + std::to_string(1 + Below(10));
    v[56] = Chance(95) ? "0" : "1";
    v[57] = Date() + " " + Two(Below(24)) + ":" + Two(Below(60)) + ":" + Two(Below(60));
    if (Chance(40)) v[58] = Notes();
    if (Chance(8)) v[59] = Picture();

    kestrav::records::RecordValues values;
    values.reserve(v.size());
    for (const std::string& value : v) {
      if (value.empty()) {
        values.emplace_back();
      } else {
        values.emplace_back(FromUtf8(value));
      }
    }
    return values;
  }

 private:
  static std::string Two(unsigned number) {
    return (number < 10 ? "0" : "") + std::to_string(number);
  }

  std::mt19937_64 random_{20240517};
};

double Seconds(Clock::duration duration) {
  return std::chrono::duration<double>(duration).count();
}

double Megabytes(std::uintmax_t bytes) {
  return static_cast<double>(bytes) / 1e6;
}

// Relative paths are made absolute so that the device never reads them as its own paths.
std::u16string HostPath(const std::string& path) {
  return FromUtf8(std::filesystem::absolute(path).string());
}

std::unique_ptr<kestrav::platform::host::HostDevice> MakeDevice() {
  auto host = kestrav::platform::host::HostDevice::Create(
      {}, FromUtf8(std::filesystem::temp_directory_path().string()));
  if (!host) throw std::runtime_error("iconv does not know code page 1252");
  return host;
}

int Generate(const std::string& file, unsigned megabytes) {
  std::filesystem::remove(file);
  auto host = MakeDevice();
  kestrav::records::CsvRecordFile records(host->device());
  Generator generator;
  const std::uint64_t target_units = static_cast<std::uint64_t>(megabytes) * 1000000 / 2;
  std::uint64_t units = 0;
  std::uint64_t count = 0;

  // Only the writer's calls are timed, not the making of the values.
  kestrav::records::RecordValues header;
  for (std::size_t begin = 0, end = 0; begin <= kHeader.size(); begin = end + 1) {
    end = std::min(kHeader.find(';', begin), kHeader.size());
    header.emplace_back(FromUtf8(kHeader.substr(begin, end - begin)));
  }
  const Clock::time_point open_start = Clock::now();
  bool written = records.Open(HostPath(file), 0);
  written = written && records.WriteRecord(header);
  Clock::duration elapsed = Clock::now() - open_start;

  while (written && units < target_units) {
    const kestrav::records::RecordValues values = generator.Contact();
    for (const auto& value : values) units += (value ? value->size() : 0) + 1;
    const Clock::time_point start = Clock::now();
    written = records.WriteRecord(values);
    elapsed += Clock::now() - start;
    ++count;
  }
  const Clock::time_point close_start = Clock::now();
  written = records.Close() && written;
  elapsed += Clock::now() - close_start;
  if (!written) {
    std::fprintf(stderr, "generate: %s\n", ToUtf8(records.ErrorText()).c_str());
    return 1;
  }
  const std::uintmax_t bytes = std::filesystem::file_size(file);
  std::printf("bytes %ju\nrecords %ju\nseconds %.3f\nMB/s %.1f\n", bytes,
              static_cast<std::uintmax_t>(count), Seconds(elapsed),
              Megabytes(bytes) / Seconds(elapsed));
  return 0;
}

int Load(const std::string& file) {
  auto host = MakeDevice();
  kestrav::records::CsvRecordFile records(host->device());
  const Clock::time_point start = Clock::now();
  const bool loaded = records.Load(HostPath(file), false, false);
  const double seconds = Seconds(Clock::now() - start);
  if (!loaded) {
    std::fprintf(stderr, "load: %s\n", ToUtf8(records.ErrorText()).c_str());
    return 1;
  }
  rusage usage{};
  getrusage(RUSAGE_SELF, &usage);
  const std::uintmax_t bytes = std::filesystem::file_size(file);
  std::printf("records %zu\nseconds %.3f\nMB/s %.1f\npeak MiB %.1f\n", records.Records().size(),
              seconds, Megabytes(bytes) / seconds, static_cast<double>(usage.ru_maxrss) / 1024);
  return 0;
}

int Add(const std::string& file, const std::string& archive) {
  std::filesystem::remove(archive);
  auto host = MakeDevice();
  const Clock::time_point start = Clock::now();
  const int result = kestrav::records::AddFile(host->device(), HostPath(file), HostPath(archive),
                                               kestrav::records::kMethodDeflated, {});
  const double seconds = Seconds(Clock::now() - start);
  if (result != 0) {
    std::fprintf(stderr, "add: %s\n", ToUtf8(kestrav::records::ArchiveErrorText(result)).c_str());
    return 1;
  }
  const std::uintmax_t bytes = std::filesystem::file_size(file);
  std::printf("seconds %.3f\nMB/s %.1f\narchive bytes %ju\nthreads %u\n", seconds,
              Megabytes(bytes) / seconds, std::filesystem::file_size(archive),
              std::max(1u, std::thread::hardware_concurrency()));
  return 0;
}

}  // namespace

int main(int argc, char** argv) {
  CLI::App app{"kestrav-record-benchmark - record file and archive throughput"};
  app.require_subcommand(1);
  std::string file;
  std::string archive;
  unsigned megabytes = 100;

  CLI::App* generate = app.add_subcommand("generate", "Write a contacts-like record file");
  generate->add_option("FILE", file, "The record file to write")->required();
  generate->add_option("--megabytes", megabytes, "Its size in MB")->check(CLI::Range(1u, 4000u));
  CLI::App* load = app.add_subcommand("load", "Read a record file");
  load->add_option("FILE", file, "The record file to read")->required()->check(CLI::ExistingFile);
  CLI::App* add = app.add_subcommand("add", "Deflate a record file into a fresh archive");
  add->add_option("FILE", file, "The record file to add")->required()->check(CLI::ExistingFile);
  add->add_option("ARCHIVE", archive, "The archive to create")->required();

  CLI11_PARSE(app, argc, argv);
  try {
    if (generate->parsed()) return Generate(file, megabytes);
    if (load->parsed()) return Load(file);
    return Add(file, archive);
  } catch (const std::exception& error) {
    std::fprintf(stderr, "%s\n", error.what());
    return 1;
  }
}
