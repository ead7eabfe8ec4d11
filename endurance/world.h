#ifndef ZEVRA_ENDURANCE_WORLD_H
#define ZEVRA_ENDURANCE_WORLD_H

#include <cstdint>
#include <filesystem>
#include <functional>
#include <map>
#include <random>
#include <string>
#include <vector>

namespace zevra::endurance {

// What happens to the hosts of a machine: its faults, drawn from a seed. One thread.
class World {
 public:
  // `folder` holds the hosts' library, so their settings as well.
  World(std::filesystem::path folder, std::uint64_t seed);

  // Up to four faults, one after another or at once, and the end of each. Gives the time at which
  // they have been set right, within some 15 seconds.
  void Trouble();
  // The server, its endpoints, the log and its settings are as at the beginning.
  void SetRight();
  void KillServer() { Kill(); }
  // Plays the ramp on the speakers. True if another client of the server captured it exactly.
  bool PlayRamp();

  // How often each fault happened.
  const std::map<std::string, unsigned>& Counts() const { return counts_; }
  bool HasSmallDisk() const { return has_disk_; }

  // The settings that the hosts log by.
  void WriteSettings() const;

 private:
  struct Pending {
    std::int64_t at_ms;
    std::function<void()> end;
  };

  unsigned Random(unsigned count) { return static_cast<unsigned>(random_() % count); }
  // The name of an endpoint that may be spoilt.
  std::string AnySink();
  void EndAfter(unsigned milliseconds, std::function<void()> end);
  void EndWhatIsDue(bool all);
  void OneFault();

  void Kill();
  void Freeze();
  void Plug();
  void Unplug();
  void Rename();
  void Suspend();
  void ChangeDefault();
  void ChangeVolume();
  void Move();
  void Crowd();
  void TakeDescriptors();
  void FillDisk();
  void DeleteLog();
  void MoveLog();
  void SpoilSettings();
  void Stall();

  const std::filesystem::path folder_, disk_;
  const std::string server_;
  bool has_disk_ = false;
  std::mt19937_64 random_;
  std::vector<Pending> pending_;
  std::vector<std::string> modules_;
  std::map<std::string, unsigned> counts_;
};

}  // namespace zevra::endurance

#endif
