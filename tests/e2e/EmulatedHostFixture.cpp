#include "EmulatedHostFixture.h"

#include <fcntl.h>
#include <spawn.h>
#include <sys/resource.h>
#include <sys/wait.h>

#include <cstdlib>
#include <fstream>
#include <random>

extern char** environ;

std::string ToolRun::Hr(const std::string& name) const {
  for (const auto& call : report.value("calls", nlohmann::json::array()))
    if (call["name"] == name) return call["hr"];
  return "";
}

int ToolRun::CountCalls(const std::string& name) const { return static_cast<int>(Calls(name).size()); }

std::vector<nlohmann::json> ToolRun::Calls(const std::string& name) const {
  std::vector<nlohmann::json> calls;
  for (const auto& call : report.value("calls", nlohmann::json::array()))
    if (call["name"] == name) calls.push_back(call);
  return calls;
}

bool ToolRun::HasEvent(unsigned id) const {
  for (const auto& e : report.value("events", nlohmann::json::array()))
    if (e["id"] == id) return true;
  return false;
}

void EmulatedHostFixture::SetUp() {
  sim_ = std::make_unique<arraysim::Simulator>();
  std::random_device random;
  root_ = std::filesystem::temp_directory_path() / ("vantor-e2e-" + std::to_string(random()));
  hostA_ = MakeHost("host-a", kInitiator);
  hostB_ = MakeHost("host-b", kInitiatorB);
}

EmulatedHost EmulatedHostFixture::MakeHost(const std::string& folder, const std::string& initiator) {
  const EmulatedHost host{root_ / folder, initiator};
  std::filesystem::create_directories(host.dir);
  std::ofstream(host.dir / "host.json") << nlohmann::json{{"initiator", initiator}, {"control", sim_->controlUrl()}}.dump();
  std::string computer = folder;  // "host-a": the computer HOST-A
  for (char& c : computer) c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
  std::ofstream(host.dir / "registry.reg")
      << "Windows Registry Editor Version 5.00\n\n"
         "[HKEY_LOCAL_MACHINE\\SYSTEM\\CurrentControlSet\\Control\\ComputerName\\ComputerName]\n"
         "\"ComputerName\"=\"" << computer << "\"\n\n"
         "[HKEY_LOCAL_MACHINE\\SOFTWARE\\Vantor Storage\\Configuration]\n";
  return host;
}

void EmulatedHostFixture::TearDown() {
  sim_.reset();
  if (!HasFailure()) {
    std::error_code ignored;
    std::filesystem::remove_all(root_, ignored);
  } else {
    std::cerr << "emulated hosts kept for inspection: " << root_ << "\n";
  }
}

arraysim::GroupInfo EmulatedHostFixture::AddGroup(const std::string& name, const std::vector<std::string>& volumes,
                                                  bool rest) {
  arraysim::GroupSpec spec;
  spec.name = name;
  spec.password = name + "-pw";
  spec.rest = rest;
  const arraysim::GroupInfo group = sim_->addGroup(spec);
  arraysim::VolumeSpec like;
  like.acl = {{"iscsi", kInitiator}, {"iscsi", kInitiatorB}};
  for (const auto& volumeName : volumes) {
    like.name = volumeName;
    volumes_.push_back(sim_->addVolume(group.id, like));
    EXPECT_EQ(sim_->iscsiLogin(kInitiator, volumes_.back().targetName).status, 0u);
  }
  if (rest) Configure(hostA_, group);
  return group;
}

void EmulatedHostFixture::Configure(const EmulatedHost& host, const arraysim::GroupInfo& group) {
  const ToolRun added = VssOn(host, {"config", "add-group", group.address, "--user", "admin", "--password-stdin"},
                              group.name + "-pw\n");
  EXPECT_EQ(added.status, 0) << added.output;
}

void EmulatedHostFixture::SetConfiguration(const EmulatedHost& host, const std::string& regLines) {
  std::ofstream(host.dir / "registry.reg", std::ios::app)
      << "\n[HKEY_LOCAL_MACHINE\\SOFTWARE\\Vantor Storage\\Configuration]\n" << regLines << "\n";
}

ToolRun EmulatedHostFixture::VssOn(const EmulatedHost& host, const std::vector<std::string>& args,
                                   const std::string& input, const std::function<void(pid_t)>& whileRunning) {
  const char* exe = std::getenv("VANTOR_VSS_UNDER_TEST");  // e.g. an older build, to compare
  std::vector<std::string> words{exe ? exe : VANTOR_VSS_EXE, "--host-dir", host.dir.string(), "--json"};
  words.insert(words.end(), args.begin(), args.end());
  std::vector<char*> argv;
  for (auto& w : words) argv.push_back(w.data());
  argv.push_back(nullptr);
  // Standard error stays apart, so that the output is the JSON report alone.
  const std::string in = (host.dir / "stdin.txt").string(), out = (host.dir / "stdout.txt").string(),
                    err = (host.dir / "stderr.txt").string();
  std::ofstream(in) << input;
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_addopen(&actions, 0, in.c_str(), O_RDONLY, 0);
  posix_spawn_file_actions_addopen(&actions, 1, out.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
  posix_spawn_file_actions_addopen(&actions, 2, err.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
  ToolRun run;
  pid_t pid = 0;
  const auto started = std::chrono::steady_clock::now();
  const int spawned = posix_spawn(&pid, argv[0], &actions, nullptr, argv.data(), environ);
  posix_spawn_file_actions_destroy(&actions);
  if (spawned != 0) return run;
  if (whileRunning) whileRunning(pid);
  int raw = 0;
  rusage usage{};
  ::wait4(pid, &raw, 0, &usage);
  run.elapsed = std::chrono::duration_cast<std::chrono::milliseconds>(std::chrono::steady_clock::now() - started);
  run.status = WIFEXITED(raw) ? WEXITSTATUS(raw) : -1;
  run.peakRssKb = usage.ru_maxrss;
  run.output = ReadText(out);
  run.report = nlohmann::json::parse(run.output, nullptr, false);
  if (run.report.is_discarded()) run.report = nlohmann::json::object();
  run.output += ReadText(err);
  return run;
}

const arraysim::VolumeInfo& EmulatedHostFixture::Volume(const std::string& name) const {
  for (const auto& v : volumes_)
    if (v.name == name) return v;
  throw std::out_of_range("no volume " + name);
}

nlohmann::json EmulatedHostFixture::VolumeState(const std::string& name) const {
  const nlohmann::json state = sim_->state();  // the loop must not run over a temporary
  for (const auto& g : state["groups"])
    for (const auto& v : g["volumes"])
      if (v["name"] == name) return v;
  return {};
}

std::set<std::string> EmulatedHostFixture::SnapshotSerials() const {
  std::set<std::string> serials;
  const nlohmann::json state = sim_->state();
  for (const auto& g : state["groups"])
    for (const auto& snapshot : g["snapshots"]) serials.insert(snapshot["serial_number"].get<std::string>());
  return serials;
}

std::vector<std::string> EmulatedHostFixture::DiskSerials(const EmulatedHost& host) const {
  std::vector<std::string> serials;
  for (const auto& disk : sim_->hostDisks(host.initiator)) serials.push_back(disk["serial_number"]);
  return serials;
}

std::vector<std::string> EmulatedHostFixture::SessionTargets(const EmulatedHost& host) const {
  std::vector<std::string> targets;
  for (const auto& session : sim_->hostSessions(host.initiator)) targets.push_back(session["target_name"]);
  return targets;
}

std::string EmulatedHostFixture::Trace() const {
  std::string all;
  for (const auto& entry : std::filesystem::directory_iterator(hostA_.dir / "logs")) all += ReadText(entry.path());
  return all;
}

std::string ReadText(const std::filesystem::path& file) {
  std::ifstream in(file, std::ios::binary);
  std::string text;
  for (const char c : std::string(std::istreambuf_iterator<char>(in), {}))
    if (c != '\0') text += c;  // a UTF-16 file keeps its ASCII characters
  return text;
}
