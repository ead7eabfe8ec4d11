#include "endurance/world.h"

#include <fcntl.h>
#include <sched.h>
#include <sys/mount.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <iterator>
#include <utility>

#include "endurance/board.h"
#include "endurance/tap.h"

namespace zevra::endurance {
namespace {

namespace fs = std::filesystem;

std::string Environment(const char* name) {
  // NOLINTNEXTLINE(concurrency-mt-unsafe): nothing sets the environment meanwhile
  const char* const value = std::getenv(name);
  return value != nullptr ? value : "";
}

// Gives the exit code. The server may not answer, so nothing waits for long.
int Shell(const std::string& command) {
  // NOLINTNEXTLINE(concurrency-mt-unsafe, cert-env33-c): a shell is what is wanted
  return std::system(command.c_str());
}

int Pactl(const std::string& arguments) {
  return Shell("timeout 2 pactl " + arguments + " >/dev/null 2>&1");
}

std::vector<std::string> LinesOf(const std::string& command) {
  std::vector<std::string> lines;
  std::FILE* const pipe = popen(command.c_str(), "re");
  if (pipe == nullptr) return lines;
  std::array<char, 4096> line{};
  while (std::fgets(line.data(), line.size(), pipe) != nullptr) {
    lines.emplace_back(line.data());
    while (lines.back().ends_with('\n')) lines.back().pop_back();
  }
  pclose(pipe);
  return lines;
}

// The server's processes, none while it starts.
std::vector<pid_t> Processes(const std::string& server) {
  std::ifstream list(server + "/processes");
  return {std::istream_iterator<pid_t>(list), {}};
}

void Write(const fs::path& file, const std::string& text) { std::ofstream(file) << text; }

// Mounts a disk of 1 MB that this process and its children alone see. False where that is not
// allowed.
bool MountSmallDisk(const fs::path& folder) {
  const uid_t user = geteuid();
  const gid_t group = getegid();
  if (unshare(CLONE_NEWNS) != 0) {
    if (unshare(CLONE_NEWUSER | CLONE_NEWNS) != 0) return false;
    const auto same = [](auto id) { return std::to_string(id) + " " + std::to_string(id) + " 1"; };
    Write("/proc/self/setgroups", "deny");
    Write("/proc/self/uid_map", same(user));
    Write("/proc/self/gid_map", same(group));
  }
  return mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr) == 0 &&
         mount("tmpfs", folder.c_str(), "tmpfs", 0, "size=1m") == 0;
}

}  // namespace

World::World(fs::path folder, std::uint64_t seed)
    : folder_(std::move(folder)),
      disk_(folder_ / "disk"),
      server_(Environment("ZEVRA_SOUND_SERVER")),
      random_(seed) {
  fs::create_directories(disk_);
  (folder_ / "heard").string().copy(TheBoard().heard_file.data(), TheBoard().heard_file.size() - 1);
  // NOLINTNEXTLINE(cppcoreguidelines-prefer-member-initializer): the folder comes first
  has_disk_ = MountSmallDisk(disk_);
  WriteSettings();
  const std::vector<float> ramp = CheckRamp();
  std::ofstream(folder_ / "ramp", std::ios::binary)
      .write(reinterpret_cast<const char*>(ramp.data()),
             static_cast<std::streamsize>(ramp.size() * sizeof(float)));
}

void World::WriteSettings() const {
  Write(folder_ / "zevra.cfu",
        "[logger]\nfile=disk/zevra.log\nlevel=debug\nmaxsize=65536\nmaxcount=4\n");
}

void World::Trouble() {
  for (unsigned faults = 1 + Random(4); faults > 0; --faults) {
    OneFault();
    const std::int64_t until_ms = NowMs() + Random(1'500);
    while (NowMs() < until_ms && !TheBoard().failed) {
      EndWhatIsDue(false);
      Pause(20);
    }
  }
  while (!pending_.empty() && !TheBoard().failed) {
    EndWhatIsDue(false);
    Pause(20);
  }
}

void World::OneFault() {
  static constexpr std::pair<const char*, void (World::*)()> kFaults[] = {
      {"kill the server", &World::Kill},
      {"freeze the server", &World::Freeze},
      {"freeze the server", &World::Freeze},
      {"load an endpoint", &World::Plug},
      {"unload an endpoint", &World::Unplug},
      {"rename an endpoint", &World::Rename},
      {"suspend an endpoint", &World::Suspend},
      {"change the default", &World::ChangeDefault},
      {"change volume and mute", &World::ChangeVolume},
      {"move streams", &World::Move},
      {"a hundred clients", &World::Crowd},
      {"take the descriptors", &World::TakeDescriptors},
      {"fill the disk", &World::FillDisk},
      {"delete the log", &World::DeleteLog},
      {"move the log", &World::MoveLog},
      {"spoil the settings", &World::SpoilSettings},
      {"stall a callback", &World::Stall}};
  const auto& [name, fault] = kFaults[Random(std::size(kFaults))];
  if (fault == &World::FillDisk && !has_disk_) return;
  Note("%s", name);
  ++counts_[name];
  (this->*fault)();
}

void World::SetRight() {
  EndWhatIsDue(true);
  const std::int64_t deadline_ms = NowMs() + 60'000;
  Note("set right");
  while (Processes(server_).empty()) {
    if (NowMs() > deadline_ms) return Fail("the server did not start again");
    Pause(50);
  }
  // One that a frozen server was asked for may have come later.
  modules_.clear();
  for (const std::string& line :
       LinesOf("timeout 2 pactl list short modules 2>/dev/null | grep zevra_doomed"))
    Pactl("unload-module " + std::to_string(std::atoi(line.c_str())));
  static constexpr const char* kRepair[] = {
      "set-default-sink zevra_speakers", "set-default-source zevra_microphone",
      "suspend-sink zevra_speakers 0", "set-sink-mute zevra_speakers 0",
      "set-sink-volume zevra_speakers 100%"};
  for (const char* const command : kRepair)
    while (Pactl(command) != 0) {
      if (NowMs() > deadline_ms) return Fail("the server does not obey: %s", command);
      Pause(100);
    }
}

bool World::PlayRamp() {
  const std::string play =
      "cd '" + folder_.string() +
      "'; form='--raw --format=float32le --rate=48000 --channels=2'\n"
      "timeout 15 parec $form --latency-msec=20 -d zevra_speakers.monitor >heard & heard=$!\n"
      "sleep 0.5\n"
      "timeout 10 pacat $form --latency-msec=1500 --process-time-msec=100 -d zevra_speakers <ramp\n"
      "sleep 0.7\n"
      "kill $heard; wait $heard\n"
      "exit 0";
  Shell(play);
  const std::vector<float> heard = SoundIn(TheBoard().heard_file.data()), ramp = CheckRamp();
  if (heard == ramp) return true;
  Note("another client heard %zu samples of %zu", heard.size(), ramp.size());
  return false;
}

std::string World::AnySink() {
  static constexpr const char* kSinks[] = {"zevra_speakers", "zevra_surround", "zevra_doomed"};
  return kSinks[Random(std::size(kSinks))];
}

void World::EndAfter(unsigned milliseconds, std::function<void()> end) {
  pending_.push_back({NowMs() + milliseconds, std::move(end)});
}

void World::EndWhatIsDue(bool all) {
  for (std::size_t at = 0; at < pending_.size();) {
    if (!all && pending_[at].at_ms > NowMs()) {
      ++at;
      continue;
    }
    const Pending due = pending_[at];
    pending_.erase(pending_.begin() + static_cast<std::ptrdiff_t>(at));
    due.end();
  }
}

// --- The faults
// -----------------------------------------------------------------------------------

void World::Kill() {
  const std::vector<pid_t> processes = Processes(server_);
  if (processes.empty()) return;
  // Mostly the one that clients talk to.
  const std::size_t which =
      Random(3) != 0 ? processes.size() - 1 : Random(unsigned(processes.size()));
  Write(server_ + "/hold", "");
  kill(processes[which], SIGKILL);
  modules_.clear();
  EndAfter(Random(2'000), [this] { fs::remove(server_ + "/hold"); });
}

void World::Freeze() {
  const std::vector<pid_t> processes = Processes(server_);
  if (processes.empty()) return;
  kill(processes.back(), SIGSTOP);
  // Shorter than a server may take to answer, or longer.
  const unsigned length_ms = Random(2) != 0 ? 100 + Random(2'000) : 4'000 + Random(4'000);
  EndAfter(length_ms, [this, processes] {
    if (Processes(server_) == processes) kill(processes.back(), SIGCONT);
  });
}

void World::Plug() {
  const char* const description = Random(3) != 0 ? "Zevra Doomed" : "Zevra Speakers";
  const auto printed = LinesOf(
      "timeout 2 pactl load-module module-null-sink norewinds=1 sink_name=zevra_doomed rate=" +
      std::string(Random(2) != 0 ? "48000" : "44100") +
      " \"sink_properties='device.description=\\\"" + description + "\\\"'\" 2>/dev/null");
  if (!printed.empty()) modules_.push_back(printed[0]);
  if (Random(2) != 0) return;
  const auto source = LinesOf(
      "timeout 2 pactl load-module module-remap-source source_name=zevra_doomed_source "
      "master=zevra_speakers.monitor 2>/dev/null");
  if (!source.empty()) modules_.push_back(source[0]);
}

void World::Unplug() {
  if (modules_.empty()) Plug();
  Pause(static_cast<int>(Random(500)));
  if (modules_.empty()) return;
  Pactl("unload-module " + modules_.front());
  modules_.erase(modules_.begin());
}

// No client can rename an endpoint of both servers, but it can come back under another name.
void World::Rename() {
  Unplug();
  const auto printed = LinesOf(
      "timeout 2 pactl load-module module-null-sink sink_name=zevra_doomed "
      "\"sink_properties='device.description=\\\"Zevra Renamed\\\"'\" 2>/dev/null");
  if (!printed.empty()) modules_.push_back(printed[0]);
}

void World::Suspend() {
  const std::string sink = AnySink();
  Pactl("suspend-sink " + sink + " 1");
  EndAfter(Random(3'000), [sink] { Pactl("suspend-sink " + sink + " 0"); });
}

void World::ChangeDefault() {
  Pactl("set-default-sink " + AnySink());
  Pactl("set-default-source zevra_speakers.monitor");
}

void World::ChangeVolume() {
  const std::string sink = AnySink();
  Pactl("set-sink-volume " + sink + " " + std::to_string(Random(150)) + "%");
  Pactl("set-sink-mute " + sink + " " + std::to_string(Random(2)));
}

// The hosts' streams alone: an endpoint of the server may have some of its own, and would go with
// the one that they were moved to.
void World::Move() {
  for (const std::string kind : {"sink-input", "source-output"}) {
    std::string list = "timeout 2 pactl list ";
    list.append(kind).append(
        "s 2>/dev/null | awk '/^S.* #/ {index_ = $3} "
        "/application.process.binary = \"chaos\"/ {print substr(index_, 2)}'");
    std::string target = " " + AnySink();
    if (kind == "source-output") target += ".monitor";
    for (const std::string& index : LinesOf(list))
      Pactl(std::string("move-").append(kind).append(" ").append(index).append(target));
  }
}

// Connections that say nothing: a server has places for a number of clients, and then refuses the
// hosts too.
void World::Crowd() {
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  const std::string path = server_ + "/run/pulse/native";
  path.copy(address.sun_path, sizeof address.sun_path - 1);
  std::vector<int> crowd;
  for (int client = 0; client < 100; ++client) {
    crowd.push_back(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
    // A frozen server's queue is full after some of them.
    static_cast<void>(
        connect(crowd.back(), reinterpret_cast<const sockaddr*>(&address), sizeof address));
  }
  EndAfter(500 + Random(2'500), [crowd] {
    for (const int client : crowd) close(client);
  });
}

void World::TakeDescriptors() {
  TheBoard().hosts.at(Random(kHosts)).take_descriptors_ms = 100 + static_cast<int>(Random(3'000));
}

void World::FillDisk() {
  std::ofstream filler(disk_ / "filler", std::ios::binary);
  const std::string block(4096, 'x');
  while (filler.write(block.data(), 4096).flush()) {
  }
  EndAfter(Random(5'000), [this] { fs::remove(disk_ / "filler"); });
}

void World::DeleteLog() {
  std::error_code ignored;
  fs::remove(disk_ / "zevra.log", ignored);
}

void World::MoveLog() {
  std::error_code ignored;
  fs::rename(disk_ / "zevra.log", disk_ / "moved", ignored);
}

void World::SpoilSettings() {
  std::string garbage;
  for (unsigned length = Random(5'000); length > 0; --length)
    garbage += static_cast<char>(Random(256));
  static constexpr const char* kHeads[] = {"", "[logger]\n",
                                           "[logger]\nlevel=", "[logger]\nstyle=0\nlevel="};
  Write(folder_ / "zevra.cfu", kHeads[Random(std::size(kHeads))] + garbage);
  EndAfter(Random(15'000), [this] { WriteSettings(); });
}

void World::Stall() {
  TheBoard().last_stall_ms = NowMs();
  TheBoard().hosts.at(Random(kHosts)).stall_ms = static_cast<int>(Random(kLongestStallMs));
}

}  // namespace zevra::endurance
