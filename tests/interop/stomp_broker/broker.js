// broker.js - stomp-broker-js behind TLS on a free loopback port, driven line by line over standard input.
//
//   node broker.js <certificate.pem> <key.pem> [heartbeat milliseconds]
//
// Writes "ready <port>", then one line in answer to each command:
//   publish <destination> <count>   sends captions numbered from 0 as MESSAGE frames
//   subscriptions                   "subscriptions <destination> ..." of all links, in order
//   sends                           "sends <count> <in order so far: yes|no>": SEND frames to /app/count
//   last                            the newest of them: its token header, a blank, its body as JSON text
//   close <code>                    ends every link with this close code
// It ends when its input ends.
'use strict';

const fs = require('fs');
const https = require('https');
const readline = require('readline');
const StompServer = require('stomp-broker-js');

const [certificate, key, heartbeat] = process.argv.slice(2);
const server = https.createServer({cert: fs.readFileSync(certificate), key: fs.readFileSync(key)});
const interval = Number(heartbeat || 0);
const broker = new StompServer({
    server,
    path: '/conf-portal/websocket',
    heartbeat: [interval, interval],
    serverName: 'foreign',
});

const sends = {count: 0, inOrder: true, last: ''};
broker.on('send', ({frame, dest}) => {
    if (dest === '/app/count') {
        sends.inOrder = sends.inOrder && frame.body.n === sends.count;
        sends.count += 1;
        sends.last = `${frame.headers.token} ${JSON.stringify(frame.body)}`;
    }
});
broker.on('error', () => {});

const commands = {
    publish(destination, count) {
        for (let n = 0; n < Number(count); ++n) {
            // The broker adds no destination and no message-id of its own to what the server publishes.
            const headers = {destination, 'message-id': `m-${n}`, 'content-type': 'application/json'};
            broker.send(destination, headers, JSON.stringify(bodyOf(n)));
        }
        return `published ${count}`;
    },
    subscriptions() {
        const topics = broker.subscribes.filter(Boolean).map((subscription) => subscription.topic);
        return ['subscriptions', ...topics].join(' ');
    },
    sends: () => `sends ${sends.count} ${sends.inOrder ? 'yes' : 'no'}`,
    last: () => `last ${sends.last}`,
    close(code) {
        broker.socket.clients.forEach((client) => client.close(Number(code), 'as told'));
        return `closed ${code}`;
    },
};

// A caption that the library accepts; the number is its text.
function bodyOf(n) {
    return {
        text: String(n), uuid: 'site-1', name: 'Foreign', final: true, srcLang: 'en-US', startTime: 0, endTime: 1,
    };
}

readline.createInterface({input: process.stdin})
    .on('line', (line) => {
        const [name, ...words] = line.split(' ');
        process.stdout.write(`${commands[name](...words)}\n`);
    })
    .on('close', () => process.exit(0));

server.listen(0, '127.0.0.1', () => process.stdout.write(`ready ${server.address().port}\n`));
