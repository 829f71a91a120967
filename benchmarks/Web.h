#pragma once

namespace bench {

// Seconds. What a request takes on the Unix socket, beside the same server that makes the camera's own
// call and then answers a constant of the same length, and beside that call, which every way to it has to make.
struct RequestCost
{
    double figure;
    double floor;  // without the call
    double call;
    double ratio;  // figure without the call, to the floor; of the medians
    double lowerQuartile;
    double upperQuartile;
};

enum class OneKey
{
    get,
    patch,  // to another value each time
};

// Request, constant and call in turn, in short batches, so often.
RequestCost measureRequest(OneKey what, int batches);

// What an ordinary request sees beside clients that send a byte a second, readers of events that read nothing, and
// viewers of a picture of 25 frames a second and 60 KB each; in seconds.
struct LoadedServer
{
    double median;
    double high;    // 99 % of the requests were faster
    double share;   // of the requests, those that took less than 100 ms
    double frames;  // in a second, of the viewer that got the fewest
    double memory;  // bytes that the process has grown by
    double end;     // what ending the server took while they were all connected
};

constexpr int kSlowClients = 200;
constexpr int kStreams = 16;
constexpr int kViewers = 16;

LoadedServer measureLoadedServer(double seconds);

}  // namespace bench
