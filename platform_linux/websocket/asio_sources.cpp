// asio_sources.cpp - the compiled parts of Asio and Beast (BOOST_ASIO_SEPARATE_COMPILATION and
// BOOST_BEAST_SEPARATE_COMPILATION), so that the other sources compile their declarations only.
#include <boost/asio/impl/src.hpp>
#include <boost/asio/ssl/impl/src.hpp>
#include <boost/beast/src.hpp>
