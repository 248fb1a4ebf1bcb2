#include "EmulatedHostFixture.h"

#include <array>
#include <cstdio>
#include <fstream>
#include <random>
#include <sstream>

std::string ToolRun::Hr(const std::string& name) const {
  for (const auto& call : report.value("calls", nlohmann::json::array()))
    if (call["name"] == name) return call["hr"];
  return "";
}

int ToolRun::CountCalls(const std::string& name) const {
  int n = 0;
  for (const auto& call : report.value("calls", nlohmann::json::array())) n += call["name"] == name ? 1 : 0;
  return n;
}

bool ToolRun::HasEvent(unsigned id) const {
  for (const auto& e : report.value("events", nlohmann::json::array()))
    if (e["id"] == id) return true;
  return false;
}

void EmulatedHostFixture::SetUp() {
  sim_ = std::make_unique<arraysim::Simulator>();
  std::random_device random;
  host_ = std::filesystem::temp_directory_path() / ("vantor-e2e-" + std::to_string(random()));
  std::filesystem::create_directories(host_);
  std::ofstream(host_ / "host.json") << nlohmann::json{{"initiator", kInitiator}, {"control", sim_->controlUrl()}}.dump();
  std::ofstream(host_ / "registry.reg") << "Windows Registry Editor Version 5.00\n\n"
                                          "[HKEY_LOCAL_MACHINE\\SOFTWARE\\Vantor Storage\\Configuration]\n";
}

void EmulatedHostFixture::TearDown() {
  sim_.reset();
  if (!HasFailure()) {
    std::error_code ignored;
    std::filesystem::remove_all(host_, ignored);
  } else {
    std::cerr << "emulated host kept for inspection: " << host_ << "\n";
  }
}

arraysim::GroupInfo EmulatedHostFixture::AddGroup(const std::string& name, const std::vector<std::string>& volumes,
                                                  const std::string& volcoll, const std::string& agentType) {
  arraysim::GroupSpec spec;
  spec.name = name;
  spec.password = name + "-pw";
  const arraysim::GroupInfo group = sim_->addGroup(spec);
  for (const auto& volumeName : volumes) {
    arraysim::VolumeSpec v;
    v.name = volumeName;
    v.volcollId = volcoll;
    v.agentType = agentType;
    v.acl.push_back({"iscsi", kInitiator});
    const auto info = sim_->addVolume(group.id, v);
    volumes_.push_back(info);
    EXPECT_EQ(sim_->iscsiLogin(kInitiator, info.targetName).status, 0u);
  }
  const ToolRun added = Vss({"config", "add-group", group.address, "--user", "admin", "--password-stdin"}, spec.password + "\n");
  EXPECT_EQ(added.status, 0) << added.output;
  return group;
}

ToolRun EmulatedHostFixture::Vss(const std::vector<std::string>& args, const std::string& input) {
  std::ostringstream command;
  command << "'" << VANTOR_VSS_EXE << "' --host-dir '" << host_.string() << "' --json";
  for (const auto& a : args) command << " '" << a << "'";
  const std::filesystem::path inputFile = host_ / "stdin.txt";
  std::ofstream(inputFile) << input;
  command << " < '" << inputFile.string() << "' 2>&1";
  ToolRun run;
  FILE* pipe = popen(command.str().c_str(), "r");
  if (pipe == nullptr) return run;
  std::array<char, 4096> chunk{};
  while (const std::size_t n = fread(chunk.data(), 1, chunk.size(), pipe)) run.output.append(chunk.data(), n);
  const int raw = pclose(pipe);
  run.status = WIFEXITED(raw) ? WEXITSTATUS(raw) : -1;
  run.report = nlohmann::json::parse(run.output, nullptr, false);
  if (run.report.is_discarded()) run.report = nlohmann::json::object();
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

std::size_t EmulatedHostFixture::SnapshotCount() const {
  std::size_t n = 0;
  const nlohmann::json state = sim_->state();
  for (const auto& g : state["groups"]) n += g["snapshots"].size();
  return n;
}

std::string EmulatedHostFixture::Trace() const {
  std::string all;
  for (const auto& entry : std::filesystem::directory_iterator(host_ / "logs")) {
    std::ifstream in(entry.path());
    all += std::string(std::istreambuf_iterator<char>(in), {});
  }
  return all;
}
