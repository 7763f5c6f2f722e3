// Directory trees laid out as real machines lay out their sensors under
// /sys and /proc: for the tests of the sensors, the heat readings and the
// heat view.
#pragma once

#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <optional>
#include <string>
#include <vector>

struct TempFile {
    int number;
    std::optional<std::string> label;  ///< nullopt: no label file
    std::string input;                 ///< the text of tempN_input
};

/// A scratch root directory holding a machine's /sys and /proc, removed
/// with everything in it when Destroy() is called.
class MachineTree {
public:
    /// Makes the directory; false when it cannot be made.
    bool Create()
    {
        char pattern[] = "/tmp/tarnwick-sensors-XXXXXX";
        if (mkdtemp(pattern) == nullptr)
            return false;
        root = pattern;
        ::chmod(root.c_str(), 0755);  // an unprivileged child reads it too
        return true;
    }

    void Destroy()
    {
        std::error_code ignored;
        for (const std::filesystem::path& path : lockedPaths)
            std::filesystem::permissions(path, std::filesystem::perms::owner_all,
                                         std::filesystem::perm_options::add, ignored);
        std::filesystem::remove_all(root, ignored);
    }

    void Write(const std::string& relative, const std::string& text) const
    {
        const std::filesystem::path path = root / relative;
        std::filesystem::create_directories(path.parent_path());
        std::ofstream out(path, std::ios::binary | std::ios::trunc);
        out << text;
    }

    void Link(const std::string& relative, const std::string& target) const
    {
        const std::filesystem::path path = root / relative;
        std::filesystem::create_directories(path.parent_path());
        std::filesystem::create_directory_symlink(target, path);
    }

    void Remove(const std::string& relative) const { std::filesystem::remove_all(root / relative); }

    void MakeUnreadable(const std::string& relative)
    {
        ::chmod((root / relative).c_str(), 0);
        lockedPaths.push_back(root / relative);
    }

    /// A hwmon chip in its device's directory, linked from /sys/class/hwmon
    /// as the kernel links it. Returns the chip's directory.
    std::string Hwmon(int index, const std::string& device, const std::string& chip,
                      const std::vector<TempFile>& temps) const
    {
        const std::string hwmon = "hwmon" + std::to_string(index);
        const std::string dir = "sys/devices/" + device + "/hwmon/" + hwmon;
        Write(dir + "/name", chip + "\n");
        Write(dir + "/uevent", "");
        for (const TempFile& temp : temps) {
            const std::string stem = dir + "/temp" + std::to_string(temp.number);
            Write(stem + "_input", temp.input);
            Write(stem + "_max", "100000\n");
            if (temp.label)
                Write(stem + "_label", *temp.label + "\n");
        }
        Link("sys/class/hwmon/" + hwmon, "../../devices/" + device + "/hwmon/" + hwmon);
        return dir;
    }

    /// A thermal zone with its cooling neighbours, linked from /sys/class/thermal.
    std::string ThermalZone(int index, const std::string& type, const std::string& temp) const
    {
        const std::string zone = "thermal_zone" + std::to_string(index);
        const std::string dir = "sys/devices/virtual/thermal/" + zone;
        Write(dir + "/type", type + "\n");
        Write(dir + "/temp", temp);
        Write(dir + "/mode", "enabled\n");
        Link("sys/class/thermal/" + zone, "../../devices/virtual/thermal/" + zone);
        return dir;
    }

    void CoolingDevice(int index) const
    {
        const std::string device = "cooling_device" + std::to_string(index);
        Write("sys/devices/virtual/thermal/" + device + "/type", "Processor\n");
        Link("sys/class/thermal/" + device, "../../devices/virtual/thermal/" + device);
    }

    /// cpuN/cpufreq as links to cpufreq/policyN, beside the other entries of
    /// /sys/devices/system/cpu. Returns the path of each scaling_cur_freq.
    std::vector<std::string> Cpufreq(const std::vector<std::string>& kilohertz) const
    {
        std::vector<std::string> paths;
        const std::string cpus = "sys/devices/system/cpu/";
        Write(cpus + "online", "0-" + std::to_string(kilohertz.size() - 1) + "\n");
        Write(cpus + "cpuidle/current_driver", "acpi_idle\n");
        for (std::size_t i = 0; i < kilohertz.size(); ++i) {
            const std::string policy = cpus + "cpufreq/policy" + std::to_string(i);
            Write(policy + "/scaling_cur_freq", kilohertz[i]);
            Write(policy + "/scaling_max_freq", "5000000\n");
            Link(cpus + "cpu" + std::to_string(i) + "/cpufreq", "../cpufreq/policy" + std::to_string(i));
            Write(cpus + "cpu" + std::to_string(i) + "/online", "1\n");
            paths.push_back(policy + "/scaling_cur_freq");
        }
        return paths;
    }

    /// A machine whose counters read and show nothing else running:
    /// /proc/stat and this process's own times that never move, and `count`
    /// processors of one core each in one package.
    void QuietProcessors(int count) const
    {
        Write("proc/stat", "cpu  1000 0 500 90000 10 0 0 0 0 0\n");
        Write("proc/self/stat", "1 (tarnwick-cli) R 1 1 1 0 -1 4194304 0 0 0 0 700 300 0 0 20 0 1 0 1 0 0\n");
        for (int cpu = 0; cpu < count; ++cpu) {
            const std::string folder = "sys/devices/system/cpu/cpu" + std::to_string(cpu) + "/topology/";
            Write(folder + "physical_package_id", "0\n");
            Write(folder + "core_id", std::to_string(cpu) + "\n");
        }
    }

    /// Processors without cpufreq: only their directories.
    void CpusWithoutCpufreq(int count) const
    {
        for (int i = 0; i < count; ++i)
            Write("sys/devices/system/cpu/cpu" + std::to_string(i) + "/online", "1\n");
    }

    /// /proc/cpuinfo with one block per processor and the given "cpu MHz" texts.
    void Cpuinfo(const std::vector<std::string>& mhz) const
    {
        std::string text;
        for (std::size_t i = 0; i < mhz.size(); ++i) {
            text += "processor\t: " + std::to_string(i) + "\n";
            text += "vendor_id\t: GenuineIntel\n";
            text += "model name\t: Intel(R) Core(TM) i7-8550U CPU @ 1.80GHz\n";
            text += "cpu MHz\t\t: " + mhz[i] + "\n";
            text += "cache size\t: 8192 KB\n";
            text += "cpu cores\t: 4\n";
            text += "bogomips\t: 3999.93\n\n";
        }
        Write("proc/cpuinfo", text);
    }

    /// A desktop: k10temp (Tctl, Tccd1, Tccd2) beside an nvme drive and an
    /// amdgpu card, and sixteen processors with cpufreq.
    std::string Desktop()
    {
        Hwmon(0, "pci0000:00/0000:00:01.1/0000:01:00.0/nvme/nvme0", "nvme", {{1, "Composite", "80850\n"}});
        Hwmon(1, "pci0000:00/0000:00:03.1/0000:0a:00.0", "amdgpu",
              {{1, "edge", "90000\n"}, {2, "junction", "95000\n"}});
        const std::string chip = Hwmon(2, "pci0000:00/0000:00:18.3", "k10temp",
                                       {{1, "Tctl", "65250\n"}, {3, "Tccd1", "70125\n"}, {4, "Tccd2", "60000\n"}});
        std::vector<std::string> khz;
        for (int i = 0; i < 16; ++i)
            khz.push_back(std::to_string(3000000 + 100000 * i) + "\n");  // 3000..4500 MHz
        Cpufreq(khz);
        Cpuinfo({"1.000", "1.000"});  // present, but cpufreq comes first
        return chip;
    }

    /// A laptop: coretemp (package and four cores), an acpitz zone both under
    /// hwmon and as a thermal zone, an x86_pkg_temp zone, no cpufreq.
    std::string Laptop()
    {
        Hwmon(0, "virtual/thermal/thermal_zone0", "acpitz", {{1, std::nullopt, "95000\n"}});
        const std::string chip = Hwmon(4, "platform/coretemp.0", "coretemp",
                                       {{1, "Package id 0", "58000\n"},
                                        {2, "Core 0", "55000\n"},
                                        {3, "Core 1", "61000\n"},
                                        {4, "Core 2", "54000\n"},
                                        {5, "Core 3", "57000\n"}});
        ThermalZone(0, "acpitz", "95000\n");
        ThermalZone(1, "x86_pkg_temp", "58000\n");
        CpusWithoutCpufreq(4);
        Cpuinfo({"2096.040", "1800.000", "3400.500", "1900.000"});
        return chip;
    }

    std::filesystem::path root;
    std::vector<std::filesystem::path> lockedPaths;
};
