// vantor-array-sim: the array simulator as a process, for the demo and for the Windows tests
// under Wine. Groups and volumes come from a scenario file and from the control API.

#include "arraysim/Scenario.h"
#include "arraysim/Simulator.h"

#include <CLI/CLI.hpp>

#include <csignal>
#include <cstdio>
#include <exception>
#include <filesystem>
#include <fstream>
#include <iostream>

namespace {

nlohmann::json readScenario(const std::string& path) {
    std::ifstream in(path);
    if (!in) throw std::runtime_error("cannot open scenario file " + path);
    nlohmann::json scenario = nlohmann::json::parse(in, nullptr, false);
    if (scenario.is_discarded()) throw std::runtime_error("scenario file " + path + " is not valid JSON");
    return scenario;
}

// Written under a temporary name and renamed, so a reader never sees half a file.
void writeReadyFile(const std::string& path, const nlohmann::json& ready) {
    const std::string temporary = path + ".tmp";
    {
        std::ofstream out(temporary, std::ios::trunc);
        out << ready.dump(2) << '\n';
        if (!out) throw std::runtime_error("cannot write ready file " + temporary);
    }
    std::filesystem::rename(temporary, path);
}

}  // namespace

int main(int argc, char** argv) {
    CLI::App app{"Vantor array simulator: REST (HTTPS), SOAP and iSCSI host channel on loopback"};
    std::string scenarioPath;
    std::string readyPath;
    int controlPort = 0;
    app.add_option("--scenario", scenarioPath, "JSON scenario: groups, volumes, faults")->check(CLI::ExistingFile);
    app.add_option("--ready-file", readyPath, "written once every server listens");
    app.add_option("--control-port", controlPort, "control API port on 127.0.0.1 (0: a free port)")
        ->check(CLI::Range(0, 65535));
    CLI11_PARSE(app, argc, argv);

    // Blocked before any server thread exists, so that every thread inherits the mask and the
    // signals reach only the sigwait below.
    sigset_t signals;
    sigemptyset(&signals);
    sigaddset(&signals, SIGINT);
    sigaddset(&signals, SIGTERM);
    pthread_sigmask(SIG_BLOCK, &signals, nullptr);

    try {
        arraysim::Options options;
        options.controlPort = static_cast<std::uint16_t>(controlPort);
        arraysim::Simulator simulator(options);
        if (!scenarioPath.empty()) arraysim::applyScenario(simulator, readScenario(scenarioPath));

        std::cout << "control " << simulator.controlUrl() << '\n';
        for (const auto& group : simulator.groups()) {
            std::cout << "group " << group.name << " id " << group.id << " rest " << group.restUrl() << " soap "
                      << group.soapUrl() << " certificate-sha256 " << group.certificateSha256 << '\n';
        }
        std::cout.flush();
        if (!readyPath.empty()) writeReadyFile(readyPath, arraysim::readyDocument(simulator));

        int received = 0;
        sigwait(&signals, &received);
        std::cout << "vantor-array-sim: stopping on signal " << received << std::endl;
    } catch (const std::exception& e) {
        std::cerr << "vantor-array-sim: " << e.what() << '\n';
        return 1;
    }
    return 0;
}
