// node server.js WSDL PORT: an agent made of nothing but the service description. Texts and numbers
// that the description types wrongly, or names otherwise than the client, come back as differences.
// (The package leaves an xs:unsignedInt the text that it is.)
'use strict';
const fs = require('fs');
const http = require('http');
const soap = require('soap');

const [wsdl, port] = process.argv.slice(2);
const told = JSON.stringify;  // also tells types: "1" is not 1
const expect = (args, wanted) => ({accepted: told(args) === told(wanted)});
const reference = 'Q/7 ä "<&>" \u{1F600}';

const operations = {
  test: ({first, second}) => ({accepted: true, answer: first + second}),
  UnregisterNotify: args => expect(args, null),
  sendServiceCmd: ({command}) => ({accepted: true, echo: command}),
  sendSysConfigEvnt: ({event}) => ({accepted: true, answer: event + 1}),
  PatchSetNotify: args => expect(args, {notification: '<patch id="1"/> ü'}),
  PostSetNotify: args => expect(args, null),
  sendQueueManagerAction: ({action}) => ({accepted: action === 1, answer: -1}),
  getWholeMsg: args => expect(args, {reference, target: 'm.eml', archived: true}),
  getWholeMsg_PE: args => expect(args, {reference, target: 'm.eml'}),
  getMsgHeader: args => ({accepted: true, header: told(args)}),
  getMsgHeader_PE: args => ({accepted: true, header: told(args)}),
  getEUQMsgDetail: args => ({accepted: true, first: told(args), second: ''}),
  getEUQMsgDetail_PE: args => ({accepted: true, first: reference, second: told(args)}),
  getMTALog: args => ({accepted: true, events: told(args) + '\n<ü>\n', ...args, fileName: 'maillog.1'}),
};

const server = http.createServer((request, response) => response.writeHead(404).end());
server.listen(Number(port), '127.0.0.1', () => {
  soap.listen(server, '/agent', {Agent: {Agent: operations}}, fs.readFileSync(wsdl, 'utf8'));
});
