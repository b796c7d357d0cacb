#pragma once
// qnlog run in process, as its command line would run it: status and both outputs.

#include <sstream>
#include <string>
#include <vector>

#include "tools/qnlog/QnlogApp.h"

namespace qn::tools::qnlog {

struct Outcome {
    int status;
    std::string out, err;
};

inline Outcome qnlog(const std::vector<std::string>& args, const std::string& input = "") {
    std::istringstream in(input);
    std::ostringstream out, err;
    QnlogApp app(in, out, err);
    const int status = app.run(args);
    return {status, out.str(), err.str()};
}

}  // namespace qn::tools::qnlog
