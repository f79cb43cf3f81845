#include "vboard/run.h"

#include <sys/wait.h>

#include <algorithm>
#include <iterator>
#include <sstream>

#include "gbk/gbk.h"
#include "r8/contract/report_record.h"

namespace vboard {

bool Run::exited() const {
    return WIFEXITED(waitStatus);
}

int Run::exitStatus() const {
    return exited() ? WEXITSTATUS(waitStatus) : -1;
}

int Run::signal() const {
    return WIFSIGNALED(waitStatus) ? WTERMSIG(waitStatus) : 0;
}

std::string Run::decodeGbk(const std::string& bytes) {
    return gbk::decode(bytes);
}

std::vector<std::string> Run::records() const {
    std::vector<std::string> texts;
    for (const std::string& bytes : writes) {
        texts.push_back(decodeGbk(bytes.substr(std::min(reportRecordHeaderBytes, bytes.size()))));
    }
    return texts;
}

bool Run::sawEndMarker() const {
    return writes.empty() ? gbk::Stream().decode(output).ends_with("R8测试结束\n")
                          : writes.back().ends_with("R8TESTEND");
}

std::vector<std::string> Run::failedItems() const {
    std::string bytes = output;
    for (const std::string& record : writes) {
        bytes += record.substr(std::min(reportRecordHeaderBytes, record.size()));
    }
    std::string text = gbk::Stream().decode(bytes);  // a faulty board may print anything
    text.erase(0, std::min(text.find("R8测试结果如下"), text.size()));
    std::vector<std::string> items;
    std::istringstream lines(text);
    for (std::string line; std::getline(lines, line);) {
        for (const char* sign : {"失败", "无连接", "error occured!", "异常"}) {
            if (line.find(sign) != std::string::npos) {
                items.push_back(line.substr(0, line.find_first_of(" :")));
                break;
            }
        }
    }
    return items;
}

std::vector<TraceEntry> Run::requests(const std::string& name, const std::string& where) const {
    std::vector<TraceEntry> found;
    std::copy_if(trace.begin(), trace.end(), std::back_inserter(found), [&](const TraceEntry& entry) {
        return entry.request == name && (where.empty() || entry.where == where);
    });
    return found;
}

int Run::beeps() const {
    const std::vector<TraceEntry> switches = requests("ZORIO_SET_BUZZER");
    return static_cast<int>(std::count_if(switches.begin(), switches.end(),
                                          [](const TraceEntry& entry) { return entry.data.at(0) == 1; }));
}

std::vector<std::string> Run::refusals() const {
    std::vector<std::string> texts;
    for (const TraceEntry& entry : trace) {
        if (entry.refused) {
            texts.push_back(entry.text());
        }
    }
    return texts;
}

}  // namespace vboard
