#include <gtest/gtest.h>
#include <type_traits>

#include "core/Exception.h"

namespace teskd::test {
namespace {

template <class E>
std::string messageOf(const std::string& text) {
    return E(text).getMessage();
}

TEST(Exception, CarriesItsMessageUnchanged) {
    EXPECT_EQ("some text: 100%", Exception("some text: 100%").getMessage());
    EXPECT_EQ("", Exception("").getMessage());
}

TEST(Exception, ACopyCarriesTheSameMessage) {
    const IOException original("m");
    const IOException copy(original);
    EXPECT_EQ("IOException: m", copy.getMessage());
    EXPECT_EQ("IOException: m", Exception(original).getMessage());
}

TEST(Exception, StreamAndSocketErrorsNameTheirChain) {
    EXPECT_EQ("IOException: m", messageOf<IOException>("m"));
    EXPECT_EQ("IOException: SocketException: m", messageOf<SocketException>("m"));
    EXPECT_EQ("IOException: SocketException: SocketConnectionClosedException: read",
              messageOf<SocketConnectionClosedException>("read"));
    EXPECT_EQ("IOException: SocketException: SocketOperationNotImplException: m",
              messageOf<SocketOperationNotImplException>("m"));
    EXPECT_EQ("IOException: SocketException: ConnectException: m",
              messageOf<ConnectException>("m"));
    EXPECT_EQ("IOException: SocketException: BindException: m", messageOf<BindException>("m"));
    EXPECT_EQ("IOException: SocketException: UnknownHostException: m",
              messageOf<UnknownHostException>("m"));
    EXPECT_EQ("IOException: ReadTimeoutException: m", messageOf<ReadTimeoutException>("m"));
    EXPECT_EQ("IOException: ReadTimeoutException: SocketTimeoutException: m",
              messageOf<SocketTimeoutException>("m"));
}

TEST(Exception, ThreePrefixesAreNotTheClassName) {
    EXPECT_EQ("Out-Of-Memory: m", messageOf<OutOfMemoryException>("m"));
    EXPECT_EQ("Out-Of-Bound: m", messageOf<OutOfBoundException>("m"));
    EXPECT_EQ("Unknown CodeId: m", messageOf<UnknownCodeIdException>("m"));
}

TEST(Exception, TheOthersNameTheirChain) {
    EXPECT_EQ("ProtocolErrorException: m", messageOf<ProtocolErrorException>("m"));
    EXPECT_EQ("TelnetFeatureNotAvailableException: m",
              messageOf<TelnetFeatureNotAvailableException>("m"));
    EXPECT_EQ("TeskException: m", messageOf<TeskException>("m"));
    EXPECT_EQ("TeskException: TeskConnectionErrorException: m",
              messageOf<TeskConnectionErrorException>("m"));
    EXPECT_EQ("ZqConfigException: m", messageOf<ZqConfigException>("m"));
    EXPECT_EQ("m", messageOf<SynchronizedException>("m"));
}

TEST(Exception, FixedTextsHaveNoPrefix) {
    EXPECT_EQ("EmptyListException", EmptyListException().getMessage());
    EXPECT_EQ("Ressource already Locked", LockedSynchronizedException().getMessage());
}

TEST(Exception, AnEmptyMessageKeepsThePrefixesWithTheirBlank) {
    EXPECT_EQ("IOException: ", messageOf<IOException>(""));
    EXPECT_EQ("IOException: SocketException: ", messageOf<SocketException>(""));
    EXPECT_EQ("Out-Of-Memory: ", messageOf<OutOfMemoryException>(""));
    EXPECT_EQ("TeskException: TeskConnectionErrorException: ",
              messageOf<TeskConnectionErrorException>(""));
}

TEST(Exception, ASocketTimeoutIsCaughtAsReadTimeoutAndAsIOException) {
    const auto throwIt = [] { throw SocketTimeoutException("m"); };
    EXPECT_THROW(throwIt(), ReadTimeoutException);
    EXPECT_THROW(throwIt(), IOException);
    EXPECT_THROW(throwIt(), Exception);
}

TEST(Exception, ASocketTimeoutIsNotCaughtAsSocketException) {
    const auto caughtBy = [] {
        try {
            throw SocketTimeoutException("m");
        } catch (const SocketException&) {
            return "SocketException";
        } catch (const Exception&) {
            return "Exception";
        }
    };
    EXPECT_STREQ("Exception", caughtBy());
}

TEST(Exception, ASocketTimeoutStartsWithNothingTransferred) {
    EXPECT_EQ(0, SocketTimeoutException("m").bytesTransferred);
}

// Every other class derives straight from the root.
template <class Derived, class Base>
constexpr bool derives = std::is_base_of_v<Base, Derived>;
static_assert(derives<SocketException, IOException>);
static_assert(derives<SocketConnectionClosedException, SocketException>);
static_assert(derives<SocketOperationNotImplException, SocketException>);
static_assert(derives<ConnectException, SocketException>);
static_assert(derives<BindException, SocketException>);
static_assert(derives<UnknownHostException, SocketException>);
static_assert(derives<LockedSynchronizedException, SynchronizedException>);
static_assert(derives<TeskConnectionErrorException, TeskException>);
static_assert(!derives<OutOfMemoryException, IOException>);
static_assert(!derives<UnknownCodeIdException, OutOfBoundException>);
static_assert(!std::is_polymorphic_v<Exception>);
static_assert(!std::is_polymorphic_v<TeskConnectionErrorException>);

}  // namespace
}  // namespace teskd::test
