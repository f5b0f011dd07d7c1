// Processes and descriptors, on systems that have forks and descriptor limits.
#include <cstdint>

#include <fcntl.h>
#include <sys/resource.h>
#include <unistd.h>

#include "copied_set.h"
#include "forked_posix.h"
#include "relay_posix.h"
#include "system_fixture.h"

namespace system_test {

using test_support::GatewaySim;

class Processes : public SystemTest {};

namespace {

// Occupies every descriptor below a number, with the process's own limit raised for as long as that lasts.
class OccupiedDescriptors {
  public:
    explicit OccupiedDescriptors(int upTo) {
        ::getrlimit(RLIMIT_NOFILE, &before_);
        rlimit raised = before_;
        raised.rlim_cur = static_cast<rlim_t>(upTo) + 200;
        if (raised.rlim_max != RLIM_INFINITY && raised.rlim_cur > raised.rlim_max) {
            raised.rlim_max = raised.rlim_cur;  // needs the privilege to do so
        }
        raisedLimit_ = ::setrlimit(RLIMIT_NOFILE, &raised) == 0;
        int descriptor = raisedLimit_ ? ::open("/dev/null", O_RDONLY | O_CLOEXEC) : -1;
        while (descriptor >= 0 && descriptor < upTo) {
            descriptors_.push_back(descriptor);
            descriptor = ::fcntl(descriptor, F_DUPFD_CLOEXEC, 0);
        }
        if (descriptor >= 0) {
            descriptors_.push_back(descriptor);
        }
    }
    ~OccupiedDescriptors() {
        for (const int descriptor : descriptors_) {
            ::close(descriptor);
        }
        ::setrlimit(RLIMIT_NOFILE, &before_);
    }
    OccupiedDescriptors(const OccupiedDescriptors&) = delete;
    OccupiedDescriptors& operator=(const OccupiedDescriptors&) = delete;

    int highest() const {
        return descriptors_.empty() ? -1 : descriptors_.back();
    }

  private:
    rlimit before_{};
    bool raisedLimit_ = false;
    std::vector<int> descriptors_;
};

}  // namespace

TEST_F(Processes, DescriptorsAbove1024OpenAndQuery) {
    const GatewaySim sim;
    const OccupiedDescriptors occupied(1100);
    ASSERT_GE(occupied.highest(), 1100) << "the limit of descriptors could not be raised";
    const Connection connection(sim);
    ASSERT_EQ(connection.openCode(), STAPI_RC_OK);
    ASSERT_GT(descriptorConnectedTo(sim.port()), 1024);
    ResultSetToken* result = nullptr;
    for (const QueryFunction& query : kQueries) {
        ASSERT_EQ(query.call(connection.token(), usualIds(query), &result), STAPI_RC_OK) << query.name;
    }
    EXPECT_GT(walkStats(result).entries.size(), 1U);
}

TEST_F(Processes, NoDescriptorLeftIsAFailedConnectAndNothingLeaks) {
    const GatewaySim sim;
    GatewayToken* token = nullptr;
    char* protocol = nullptr;
    rlimit before{};
    ASSERT_EQ(::getrlimit(RLIMIT_NOFILE, &before), 0);
    const int next = ::fcntl(0, F_DUPFD_CLOEXEC, 0);
    ASSERT_GE(next, 0);
    ::close(next);
    rlimit none = before;
    none.rlim_cur = static_cast<rlim_t>(next);
    ASSERT_EQ(::setrlimit(RLIMIT_NOFILE, &none), 0);
    const int32_t code = openGatewayConnection(sim.port(), &token, &protocol);
    ::setrlimit(RLIMIT_NOFILE, &before);
    EXPECT_EQ(code, STAPI_RC_CONNECT_FAILED);
    EXPECT_EQ(openGatewayConnection(sim.port(), &token, &protocol), STAPI_RC_OK);
}

TEST_F(Processes, ForkedChildMayUseACopyButNotTheConnection) {
    CopiedSet set(getStatIds);
    const std::vector<int32_t> codes = inForkedChild([&] {
        IdData id{};
        const int32_t ofCopy = getFirstId(set.copy, &id);
        const int32_t ofSet = getFirstId(set.result, &id);
        const int32_t free = freeResultSet(&set.copy);
        return std::vector<int32_t>{ofCopy, ofSet, free};
    });
    EXPECT_EQ(codes, (std::vector<int32_t>{STAPI_RC_OK, STAPI_RC_WRONG_PROCESS, STAPI_RC_OK}));
    EXPECT_EQ(walkIds(set.copy).entries, walkIds(set.result).entries);
    EXPECT_EQ(getStatIds(set.connection.token(), &set.result), STAPI_RC_OK);
    EXPECT_EQ(set.sim.standardError(), "");
}

TEST_F(Processes, ForkedChildOpensConnectionsOfItsOwn) {
    const GatewaySim sim;
    const Connection connection(sim);
    const std::vector<int32_t> codes = inForkedChild([&] {
        GatewayToken* token = nullptr;
        char* protocol = nullptr;
        ResultSetToken* result = nullptr;
        const int32_t open = openGatewayConnection(sim.port(), &token, &protocol);
        const int32_t query = getStats(token, &result);
        const int32_t close = closeGatewayConnection(&token);
        return std::vector<int32_t>{open, query, close};
    });
    EXPECT_EQ(codes, (std::vector<int32_t>{STAPI_RC_OK, STAPI_RC_OK, STAPI_RC_OK}));
    ResultSetToken* result = nullptr;
    EXPECT_EQ(getStats(connection.token(), &result), STAPI_RC_OK);
}

TEST_F(Processes, SocketsAreNotInheritedByPrograms) {
    const GatewaySim sim;
    const Connection connection(sim);
    const int descriptor = descriptorConnectedTo(sim.port());
    ASSERT_GE(descriptor, 0);
    EXPECT_NE(::fcntl(descriptor, F_GETFD) & FD_CLOEXEC, 0);
}

TEST_F(Processes, FailedOpensAndClosedConnectionsLeaveNoDescriptorOpen) {
    const auto lowestFree = [] {
        const int descriptor = ::fcntl(0, F_DUPFD_CLOEXEC, 0);
        ::close(descriptor);
        return descriptor;
    };
    const GatewaySim sound;
    const GatewaySim refusing({"--fault", "auth1:refuse"});
    const GatewaySim broken({"--fault", "attribute:reset"});
    const int before = lowestFree();
    for (const GatewaySim* const sim : {&sound, &refusing, &broken}) {
        GatewayToken* token = nullptr;
        char* protocol = nullptr;
        openGatewayConnection(sim->port(), &token, &protocol);
        closeGatewayConnection(&token);
        EXPECT_EQ(lowestFree(), before);
    }
}

}  // namespace system_test
