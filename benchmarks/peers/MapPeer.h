#pragma once

#include "benchmarks/pages/PagePool.h"
#include "benchmarks/peers/Peer.h"
#include "benchmarks/peers/TextTable.h"

#include <concepts>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <string_view>

/// Another project's map, and the best way to give IDs to strings with it.
template<class Map>
concept TextMap = requires(Map& map, TextTable& texts, std::string_view text) {
    { map.resolve(texts, text) } -> std::same_as<uint64_t>;
    { map.lookUp(text) } -> std::same_as<uint64_t>;
};

/// Makes a peer of a map.
template<TextMap Map>
class MapPeer final : public Peer {
public:
    std::unique_ptr<PeerThread> makeThread() override { return std::make_unique<Thread>(*this); }
    size_t getBytesInUse() const override { return PagePool::get().getUsedBytes(); }

private:
    class Thread final : public PeerThread {
    public:
        explicit Thread(MapPeer& peer) noexcept : m_peer(peer) {}

        void resolve(const std::span<const std::string_view> texts, const std::span<uint64_t> ids) override {
            for (size_t index = 0; index < texts.size(); ++index)
                ids[index] = m_peer.m_map.resolve(m_peer.m_texts, texts[index]);
        }

        void lookUp(const std::span<const std::string_view> texts, const std::span<uint64_t> ids) override {
            for (size_t index = 0; index < texts.size(); ++index)
                ids[index] = m_peer.m_map.lookUp(texts[index]);
        }

        void get(const std::span<const uint64_t> ids, const std::span<std::string_view> texts) override {
            m_peer.m_texts.get(ids, texts);
        }

    private:
        MapPeer& m_peer;
    };

    TextTable m_texts;
    Map m_map;
};
