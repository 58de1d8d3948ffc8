// The port record on standard output.
#include <vxblade/brapp.h>

#include <cstddef>
#include <cstdio>
#include <cstring>
#include <type_traits>

namespace {

enum class Shape : uint8_t { number, string, bytes };

struct PrintedField {
    const char* name;
    Shape shape;
    uint16_t offset; // in the record
    uint16_t size;   // in bytes
};

template <class Member>
constexpr PrintedField fieldAt(std::size_t offset, const char* name) {
    Shape shape = Shape::bytes; // addresses
    if (std::is_integral_v<Member>) {
        shape = Shape::number;
    } else if (std::is_same_v<std::remove_extent_t<Member>, char>) {
        shape = Shape::string;
    }
    return {name, shape, static_cast<uint16_t>(offset), sizeof(Member)};
}

#define FIELD(member) fieldAt<decltype(PortParams::member)>(offsetof(PortParams, member), #member)

// The settings of an IP port, in the record's order.
constexpr PrintedField ipPortFields[] = {
    FIELD(MacAddr),
    FIELD(IpAddr),
    FIELD(SubnetMask),
    FIELD(GatewayIpAddr),
    FIELD(PortState),
    FIELD(InstanceNo),
    FIELD(IpAddr_ipv60),
    FIELD(IpAddr_ipv61),
    FIELD(Ipv6LinkLocalAddr),
    FIELD(Ipv6DefaultRouterAddr),
    FIELD(Ipv6iSnsIpAddr),
    FIELD(SecIpAddr),
    FIELD(PriDnsIpAddr),
    FIELD(SecDnsIpAddr),
    FIELD(iSnsIpAddr),
    FIELD(SlpDaAddr),
    FIELD(SerialNumber),
    FIELD(iScsiNameString),
    FIELD(iScsiAlias),
    FIELD(FwOptions),
    FIELD(AddlFwOptions),
    FIELD(IpOptions),
    FIELD(TcpOptions),
    FIELD(iScsiOptions),
    FIELD(PortNumber),
    FIELD(MaxEthernetFrameSize),
    FIELD(MaxRcvDataSegLen),
    FIELD(VlanPriority),
    FIELD(ConnKeepAliveTo),
    FIELD(iScsiDefT2R),
    FIELD(iScsiDefT2W),
    FIELD(iScsiFirstBurstSize),
    FIELD(iScsiMaxBurstSize),
    FIELD(iScsiMaxOutStandingR2T),
    FIELD(iScsiRcvMarkerInterval),
    FIELD(iScsiSendMarkerInterval),
    FIELD(iSnsClientPortNo),
    FIELD(iSnsEsiPortNo),
    FIELD(iSnsScnPortNo),
    FIELD(iSnsServerPortNo),
    FIELD(Ipv6Options),
    FIELD(Ipv6AdditionalOptions),
    FIELD(Ipv6TcpOptions),
    FIELD(Ipv6PortNumber),
    FIELD(Ipv6FlowLabel),
    FIELD(Ipv6TagControlInfo),
    FIELD(LinkCfg),
    FIELD(TcpMaxWinSize),
    FIELD(Ipv6NDReachableTime),
    FIELD(Ipv6NDRexmitTime),
    FIELD(Ipv6StaleTimeout),
    FIELD(HeartbeatInterval),
    FIELD(TimeToLive),
    FIELD(TypeOfService),
    FIELD(TcpWindowScaleFactor),
    FIELD(Ipv6Enabled),
    FIELD(Ipv6HopLimit),
    FIELD(Ipv6DupDetectionCnt),
    FIELD(Ipv6TcpWindowScaleFactor),
    FIELD(Ipv6TrafficClass),
};

constexpr bool inOrderWithoutGaps = [] {
    std::size_t next = offsetof(PortParams, MacAddr);
    for (const PrintedField& field : ipPortFields) {
        if (field.offset != next) {
            return false;
        }
        next += field.size;
    }
    return next == offsetof(PortParams, reserved529);
}();
static_assert(inOrderWithoutGaps, "a field is missing or misplaced");

void printNumber(const PrintedField& field, const std::byte* at) {
    uint32_t number = 0; // records are little-endian, as the blade is
    std::memcpy(&number, at, field.size);
    std::printf("%s: %u (0x%x)\n", field.name, number, number);
}

void printBytes(const PrintedField& field, const std::byte* at) {
    std::printf(" %s: ", field.name);
    for (std::size_t i = 0; i < field.size; ++i) {
        std::printf(i == 0 ? "%02x" : "-%02x", static_cast<unsigned>(at[i]));
    }
    std::printf("\n");
}

void printField(const PrintedField& field, const PortParams& record) {
    const std::byte* const at = reinterpret_cast<const std::byte*>(&record) + field.offset;
    switch (field.shape) {
    case Shape::number:
        return printNumber(field, at);
    case Shape::string: // which may fill its field to the last byte
        std::printf(" %s: %.*s\n", field.name, int{field.size}, reinterpret_cast<const char*>(at));
        return;
    case Shape::bytes:
        return printBytes(field, at);
    }
}

} // namespace

void XBMGT_LogPortParams(const PortParams* record) {
    if (record == nullptr) {
        return;
    }
    std::printf("Port parameters: Type: %d Id: %d\n", record->type, record->number);
    if (record->type == PORT_TYPE_ISCSI) {
        for (const PrintedField& field : ipPortFields) {
            printField(field, *record);
        }
    }
}
